// A request that delivers the content of a URI to a stream listener.
#pragma once

#include "nsIRequest.h"

class nsIURI;
class nsIInterfaceRequestor;
class nsIInputStream;
class nsIStreamListener;

#define NS_ICHANNEL_IID_STR "c63a055a-a676-4e71-bf3c-6cfa11082018"
#define NS_ICHANNEL_IID                                                                            \
  {                                                                                                \
    0xc63a055a, 0xa676, 0x4e71, {                                                                  \
      0xbf, 0x3c, 0x6c, 0xfa, 0x11, 0x08, 0x20, 0x18                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIChannel : public nsIRequest {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_ICHANNEL_IID)

  /* 13 */ NS_IMETHOD GetOriginalURI(nsIURI** aOriginalURI) = 0;
  /* 14 */ NS_IMETHOD SetOriginalURI(nsIURI* aOriginalURI) = 0;
  /* 15 */ NS_IMETHOD GetURI(nsIURI** aURI) = 0;
  /* 16 */ NS_IMETHOD GetOwner(nsISupports** aOwner) = 0;
  /* 17 */ NS_IMETHOD SetOwner(nsISupports* aOwner) = 0;
  /* 18 */ NS_IMETHOD GetNotificationCallbacks(nsIInterfaceRequestor** aCallbacks) = 0;
  /* 19 */ NS_IMETHOD SetNotificationCallbacks(nsIInterfaceRequestor* aCallbacks) = 0;
  /* 20 */ NS_IMETHOD GetSecurityInfo(nsISupports** aSecurityInfo) = 0;
  /* 21 */ NS_IMETHOD GetContentType(nsACString& aContentType) = 0;
  /* 22 */ NS_IMETHOD SetContentType(const nsACString& aContentType) = 0;
  /* 23 */ NS_IMETHOD GetContentCharset(nsACString& aContentCharset) = 0;
  /* 24 */ NS_IMETHOD SetContentCharset(const nsACString& aContentCharset) = 0;
  /* 25 */ NS_IMETHOD GetContentLength(PRInt32* aContentLength) = 0;
  /* 26 */ NS_IMETHOD SetContentLength(PRInt32 aContentLength) = 0;
  /* 27 */ NS_IMETHOD Open(nsIInputStream** _retval) = 0;
  /* 28 */ NS_IMETHOD AsyncOpen(nsIStreamListener* aListener, nsISupports* aContext) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIChannel, NS_ICHANNEL_IID)
