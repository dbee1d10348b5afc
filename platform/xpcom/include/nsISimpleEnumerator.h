// Objects handed out one by one.
#pragma once

#include "nsISupports.h"

#define NS_ISIMPLEENUMERATOR_IID_STR "d1899240-f9d2-11d2-bdd6-000064657374"
#define NS_ISIMPLEENUMERATOR_IID                                                                   \
  {                                                                                                \
    0xd1899240, 0xf9d2, 0x11d2, {                                                                  \
      0xbd, 0xd6, 0x00, 0x00, 0x64, 0x65, 0x73, 0x74                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsISimpleEnumerator : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_ISIMPLEENUMERATOR_IID)

  /* 3 */ NS_IMETHOD HasMoreElements(PRBool* _retval) = 0;
  /* 4 */ NS_IMETHOD GetNext(nsISupports** _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsISimpleEnumerator, NS_ISIMPLEENUMERATOR_IID)
