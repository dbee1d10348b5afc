// Loading a component bundle: a shared library exporting NSGetModule.
#pragma once

#include <string>

#include "nsCOMPtr.h"
#include "nsIModule.h"

class nsIComponentManager;
class nsIFile;

namespace xpcom {

struct LoadedBundle {
  std::string path;
  void* handle = nullptr;
  nsCOMPtr<nsIModule> module;
};

// Opens the bundle at aPath (RTLD_NOW | RTLD_LOCAL) and asks its NSGetModule for the module.
// On failure returns
//   NS_ERROR_FILE_NOT_FOUND      the file does not exist,
//   NS_ERROR_FILE_IS_DIRECTORY   it is a directory,
//   NS_ERROR_FILE_UNKNOWN_TYPE   the dynamic loader refused it (not a loadable bundle),
//   NS_ERROR_FACTORY_NOT_LOADED  it has no NSGetModule,
//   NSGetModule's own failure    (NS_ERROR_FAILURE if it succeeded without a module),
// and sets aError to one line that says which, naming the file.
nsresult OpenBundle(const std::string& aPath, nsIComponentManager* aManager, nsIFile* aLocation,
                    LoadedBundle& aOut, std::string& aError);

// Releases the module, then unloads the library.
void CloseBundle(LoadedBundle& aBundle);

} // namespace xpcom
