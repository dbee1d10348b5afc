// What a component bundle's NSGetModule returns: its factories and their registration.
#pragma once

#include "nsISupports.h"

class nsIFile;
class nsIComponentManager;

#define NS_IMODULE_IID_STR "7392d032-5371-11d3-994e-00805fd26fee"
#define NS_IMODULE_IID                                                                             \
  {                                                                                                \
    0x7392d032, 0x5371, 0x11d3, {                                                                  \
      0x99, 0x4e, 0x00, 0x80, 0x5f, 0xd2, 0x6f, 0xee                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIModule : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IMODULE_IID)

  /* 3 */ NS_IMETHOD GetClassObject(nsIComponentManager* aCompMgr, const nsCID& aClass,
                                    const nsIID& aIID, void** aResult) = 0;
  /* 4 */ NS_IMETHOD RegisterSelf(nsIComponentManager* aCompMgr, nsIFile* aLocation,
                                  const char* aLoaderStr, const char* aType) = 0;
  /* 5 */ NS_IMETHOD UnregisterSelf(nsIComponentManager* aCompMgr, nsIFile* aLocation,
                                    const char* aLoaderStr) = 0;
  /* 6 */ NS_IMETHOD CanUnload(nsIComponentManager* aCompMgr, PRBool* _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIModule, NS_IMODULE_IID)

// The function a component bundle exports, unmangled, under the name NSGetModule.
typedef nsresult (*nsGetModuleProc)(nsIComponentManager* aCompMgr, nsIFile* aLocation,
                                    nsIModule** return_cobj);
