#include "ImapModule.h"

#include <dlfcn.h>
#include <filesystem>
#include <unix/ProcessTable.h>

namespace mailhost {

namespace {

std::string modulePath() {
  std::string exe = os::thisExecutable();
  if (exe.empty())
    return kImapModuleFile;
  return (std::filesystem::path(exe).parent_path() / "../lib" / kImapModuleFile)
      .lexically_normal()
      .string();
}

// The module's functions, or why there are none. Loaded once per process and never unloaded:
// connections and the keyring's state keep pointing into it.
struct LoadedModule {
  const ImapModuleFunctions* functions = nullptr;
  std::string problem;
};

LoadedModule load() {
  const std::string path = modulePath();
  void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    // The loader's reason starts with the file's name, which the line names already.
    const char* error = ::dlerror();
    std::string why = error ? error : "the loader gave no reason";
    if (why.starts_with(path + ": "))
      why.erase(0, path.size() + 2);
    return {nullptr, "cannot load the IMAP support " + path + ": " + why};
  }
  auto* entry = reinterpret_cast<ImapModuleEntry*>(::dlsym(handle, kImapModuleEntry));
  const ImapModuleFunctions* functions = entry ? entry() : nullptr;
  if (!functions)
    return {nullptr, "cannot load the IMAP support " + path + ": it has no " + kImapModuleEntry};
  if (functions->version != kImapModuleVersion)
    return {nullptr, "cannot load the IMAP support " + path +
                         ": it comes from another build of mailhost (version " +
                         std::to_string(functions->version) + ", not " +
                         std::to_string(kImapModuleVersion) + ")"};
  return {functions, {}};
}

} // namespace

const ImapModuleFunctions& imapModule() {
  static const LoadedModule loaded = load();
  if (!loaded.functions)
    throw ImapError(ImapErrorKind::Unavailable, loaded.problem);
  return *loaded.functions;
}

std::unique_ptr<ImapConnection> openImapConnection(const ImapEndpoint& endpoint,
                                                   const std::string& password) {
  return imapModule().connect(endpoint, password);
}

} // namespace mailhost
