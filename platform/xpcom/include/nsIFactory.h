// A factory that creates instances of one component class.
#pragma once

#include "nsISupports.h"

#define NS_IFACTORY_IID_STR "00000001-0000-0000-c000-000000000046"
#define NS_IFACTORY_IID                                                                            \
  {                                                                                                \
    0x00000001, 0x0000, 0x0000, {                                                                  \
      0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIFactory : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IFACTORY_IID)

  /* 3 */ NS_IMETHOD CreateInstance(nsISupports* aOuter, const nsIID& iid, void** result) = 0;
  /* 4 */ NS_IMETHOD LockFactory(PRBool lock) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIFactory, NS_IFACTORY_IID)
