// Told when the running of a URL starts and when it stops.
#pragma once

#include "nsISupports.h"

class nsIURI;

#define NS_IURLLISTENER_IID_STR "47618220-d008-11d2-8069-006008128c4e"
#define NS_IURLLISTENER_IID                                                                        \
  {                                                                                                \
    0x47618220, 0xd008, 0x11d2, {                                                                  \
      0x80, 0x69, 0x00, 0x60, 0x08, 0x12, 0x8c, 0x4e                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIUrlListener : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IURLLISTENER_IID)

  /* 3 */ NS_IMETHOD OnStartRunningUrl(nsIURI* url) = 0;
  /* 4 */ NS_IMETHOD OnStopRunningUrl(nsIURI* url, nsresult aExitCode) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIUrlListener, NS_IURLLISTENER_IID)
