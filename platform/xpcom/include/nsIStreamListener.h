// A request observer that is also handed the request's data as it arrives.
#pragma once

#include "nsIRequestObserver.h"

class nsIInputStream;

#define NS_ISTREAMLISTENER_IID_STR "1a637020-1482-11d3-9333-00104ba0fd40"
#define NS_ISTREAMLISTENER_IID                                                                     \
  {                                                                                                \
    0x1a637020, 0x1482, 0x11d3, {                                                                  \
      0x93, 0x33, 0x00, 0x10, 0x4b, 0xa0, 0xfd, 0x40                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIStreamListener : public nsIRequestObserver {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_ISTREAMLISTENER_IID)

  /* 5 */ NS_IMETHOD OnDataAvailable(nsIRequest* aRequest, nsISupports* aContext,
                                     nsIInputStream* aInputStream, PRUint32 aOffset,
                                     PRUint32 aCount) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIStreamListener, NS_ISTREAMLISTENER_IID)
