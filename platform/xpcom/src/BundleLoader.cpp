#include "BundleLoader.h"

#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>

#include "LocalFile.h"

namespace xpcom {

namespace {

std::string Hex(nsresult aCode) {
  char buf[16];
  snprintf(buf, sizeof buf, "0x%08X", unsigned(aCode));
  return buf;
}

} // namespace

nsresult OpenBundle(const std::string& aPath, nsIComponentManager* aManager, nsIFile* aLocation,
                    LoadedBundle& aOut, std::string& aError) {
  struct stat info;
  if (stat(aPath.c_str(), &info) != 0) {
    int error = errno;
    aError = aPath + ": " + (error == ENOENT ? "no such file" : strerror(error));
    return error == ENOENT ? NS_ERROR_FILE_NOT_FOUND : ResultFromErrno(error);
  }
  if (S_ISDIR(info.st_mode)) {
    aError = aPath + ": is a directory, not a bundle";
    return NS_ERROR_FILE_IS_DIRECTORY;
  }

  dlerror();
  void* handle = dlopen(aPath.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* why = dlerror();
    aError = why ? why : aPath + ": not a loadable bundle";
    return NS_ERROR_FILE_UNKNOWN_TYPE;
  }

  auto getModule = reinterpret_cast<nsGetModuleProc>(dlsym(handle, "NSGetModule"));
  if (!getModule) {
    dlclose(handle);
    aError = aPath + ": no NSGetModule entry point";
    return NS_ERROR_FACTORY_NOT_LOADED;
  }

  nsIModule* module = nullptr;
  nsresult rv = getModule(aManager, aLocation, &module);
  if (NS_FAILED(rv) || !module) {
    if (NS_SUCCEEDED(rv))
      rv = NS_ERROR_FAILURE;
    NS_IF_RELEASE(module);
    dlclose(handle);
    aError = aPath + ": NSGetModule failed (" + Hex(rv) + ")";
    return rv;
  }

  aOut.path = aPath;
  aOut.handle = handle;
  aOut.module = already_AddRefed<nsIModule>(module);
  aError.clear();
  return NS_OK;
}

void CloseBundle(LoadedBundle& aBundle) {
  aBundle.module = nullptr;
  if (aBundle.handle)
    dlclose(aBundle.handle);
  aBundle.handle = nullptr;
}

} // namespace xpcom
