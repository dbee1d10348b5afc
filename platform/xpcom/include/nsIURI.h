// A URI: its spec and its parts.
#pragma once

#include "nsISupports.h"
#include "nsStringAPI.h"

#define NS_IURI_IID_STR "07a22cc0-0ce5-11d3-9331-00104ba0fd40"
#define NS_IURI_IID                                                                                \
  {                                                                                                \
    0x07a22cc0, 0x0ce5, 0x11d3, {                                                                  \
      0x93, 0x31, 0x00, 0x10, 0x4b, 0xa0, 0xfd, 0x40                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIURI : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IURI_IID)

  /* 3 */ NS_IMETHOD GetSpec(nsACString& aSpec) = 0;
  /* 4 */ NS_IMETHOD SetSpec(const nsACString& aSpec) = 0;
  /* 5 */ NS_IMETHOD GetPrePath(nsACString& aPrePath) = 0;
  /* 6 */ NS_IMETHOD GetScheme(nsACString& aScheme) = 0;
  /* 7 */ NS_IMETHOD SetScheme(const nsACString& aScheme) = 0;
  /* 8 */ NS_IMETHOD GetUserPass(nsACString& aUserPass) = 0;
  /* 9 */ NS_IMETHOD SetUserPass(const nsACString& aUserPass) = 0;
  /* 10 */ NS_IMETHOD GetUsername(nsACString& aUsername) = 0;
  /* 11 */ NS_IMETHOD SetUsername(const nsACString& aUsername) = 0;
  /* 12 */ NS_IMETHOD GetPassword(nsACString& aPassword) = 0;
  /* 13 */ NS_IMETHOD SetPassword(const nsACString& aPassword) = 0;
  /* 14 */ NS_IMETHOD GetHostPort(nsACString& aHostPort) = 0;
  /* 15 */ NS_IMETHOD SetHostPort(const nsACString& aHostPort) = 0;
  /* 16 */ NS_IMETHOD GetHost(nsACString& aHost) = 0;
  /* 17 */ NS_IMETHOD SetHost(const nsACString& aHost) = 0;
  /* 18 */ NS_IMETHOD GetPort(PRInt32* aPort) = 0;
  /* 19 */ NS_IMETHOD SetPort(PRInt32 aPort) = 0;
  /* 20 */ NS_IMETHOD GetPath(nsACString& aPath) = 0;
  /* 21 */ NS_IMETHOD SetPath(const nsACString& aPath) = 0;
  /* 22 */ NS_IMETHOD Equals(nsIURI* other, PRBool* _retval) = 0;
  /* 23 */ NS_IMETHOD SchemeIs(const char* scheme, PRBool* _retval) = 0;
  /* 24 */ NS_IMETHOD Clone(nsIURI** _retval) = 0;
  /* 25 */ NS_IMETHOD Resolve(const nsACString& relativePath, nsACString& _retval) = 0;
  /* 26 */ NS_IMETHOD GetAsciiSpec(nsACString& aAsciiSpec) = 0;
  /* 27 */ NS_IMETHOD GetAsciiHost(nsACString& aAsciiHost) = 0;
  /* 28 */ NS_IMETHOD GetOriginCharset(nsACString& aOriginCharset) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIURI, NS_IURI_IID)
