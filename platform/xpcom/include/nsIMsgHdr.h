// A message's database header. Opaque here: only its identity is declared.
#pragma once

#include "nsISupports.h"

#define NS_IMSGDBHDR_IID_STR "b5212a60-f93f-11d2-951c-006097222b83"
#define NS_IMSGDBHDR_IID                                                                           \
  {                                                                                                \
    0xb5212a60, 0xf93f, 0x11d2, {                                                                  \
      0x95, 0x1c, 0x00, 0x60, 0x97, 0x22, 0x2b, 0x83                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIMsgDBHdr : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IMSGDBHDR_IID)
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIMsgDBHdr, NS_IMSGDBHDR_IID)
