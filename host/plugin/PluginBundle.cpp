#include "plugin/PluginBundle.h"

#include "runtime/HostError.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <nsCOMPtr.h>
#include <nsIComponentRegistrar.h>
#include <nsILocalFile.h>
#include <nsStringAPI.h>
#include <nsXPCOM.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mailhost {
namespace {

std::string canonical(const std::string& path) {
  char resolved[PATH_MAX];
  return realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

struct Collector {
  std::string bundle;
  std::vector<RegisteredComponent> found;
};

void collect(const nsRegisteredComponentInfo* info, void* closure) {
  auto* collector = static_cast<Collector*>(closure);
  if (!info->location || canonical(info->location) != collector->bundle)
    return;
  collector->found.push_back({info->cid, info->className ? info->className : "",
                              info->contractID ? info->contractID : "",
                              info->moduleName ? info->moduleName : ""});
}

std::string hexCode(nsresult rv) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%08x", rv);
  return code;
}

} // namespace

std::vector<RegisteredComponent> loadPluginBundle(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0)
    throw HostError("plug-in bundle not found: " + path);
  if (S_ISDIR(info.st_mode))
    throw HostError("not a loadable bundle: " + path + " is a folder");

  // The runtime names files by absolute path only, as the host's does.
  std::string absolute = canonical(path);
  nsCOMPtr<nsILocalFile> file;
  nsresult rv = NS_NewNativeLocalFile(nsCString(absolute.c_str()), PR_TRUE, getter_AddRefs(file));
  if (NS_FAILED(rv))
    throw HostError("cannot name plug-in bundle " + path + " (" + hexCode(rv) + ")");
  nsCOMPtr<nsIComponentRegistrar> registrar;
  rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  if (NS_FAILED(rv))
    throw HostError("the component runtime has no registrar (" + hexCode(rv) + ")");

  rv = registrar->AutoRegister(file);
  if (rv == NS_ERROR_FILE_NOT_FOUND)
    throw HostError("plug-in bundle not found: " + path);
  if (NS_FAILED(rv)) {
    std::string why = NS_GetLastLoaderError();
    throw HostError("cannot load plug-in bundle " + path + ": " +
                    (why.empty() ? "registration failed (" + hexCode(rv) + ")" : why));
  }

  // A plug-in may keep objects past the runtime's shutdown on purpose (a request whose first
  // stream never started keeps its analyzer and listener), so the bundle stays mapped until the
  // process ends: their code stays valid, and a leak report can name the functions that made
  // them.
  dlopen(absolute.c_str(), RTLD_NOW | RTLD_NOLOAD);

  Collector collector{absolute, {}};
  NS_VisitRegisteredComponents(collect, &collector);
  return collector.found;
}

std::string defaultPluginPath() {
  char exe[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (length <= 0)
    return "QuellbarkPlugIn.so";
  std::string dir(exe, static_cast<std::size_t>(length));
  dir.erase(dir.find_last_of('/'));
  return dir + "/../lib/QuellbarkPlugIn.so";
}

} // namespace mailhost
