// A bundle whose module records carry a format version the runtime does not know.
#include "nsIGenericFactory.h"

namespace {
const nsModuleInfo kModuleInfo = {0x00020000, "FutureModule", nullptr, 0, nullptr, nullptr};
}

extern "C" NS_EXPORT nsresult NSGetModule(nsIComponentManager*, nsIFile*, nsIModule** aResult) {
  return NS_NewGenericModule2(&kModuleInfo, aResult);
}
