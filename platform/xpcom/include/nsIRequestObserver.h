// Told when a request starts and when it stops.
#pragma once

#include "nsISupports.h"

class nsIRequest;

#define NS_IREQUESTOBSERVER_IID_STR "fd91e2e0-1481-11d3-9333-00104ba0fd40"
#define NS_IREQUESTOBSERVER_IID                                                                    \
  {                                                                                                \
    0xfd91e2e0, 0x1481, 0x11d3, {                                                                  \
      0x93, 0x33, 0x00, 0x10, 0x4b, 0xa0, 0xfd, 0x40                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIRequestObserver : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IREQUESTOBSERVER_IID)

  /* 3 */ NS_IMETHOD OnStartRequest(nsIRequest* aRequest, nsISupports* aContext) = 0;
  /* 4 */ NS_IMETHOD OnStopRequest(nsIRequest* aRequest, nsISupports* aContext,
                                   nsresult aStatusCode) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIRequestObserver, NS_IREQUESTOBSERVER_IID)
