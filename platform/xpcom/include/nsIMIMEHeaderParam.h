// MIME header parameter decoding (slots 3-6).
#pragma once

#include "nsISupports.h"
#include "nsStringAPI.h"

#define NS_IMIMEHEADERPARAM_IID_STR "ddbbdfb8-a1c0-4dd5-a31b-5d2a7a3bb6ec"
#define NS_IMIMEHEADERPARAM_IID                                                                    \
  {                                                                                                \
    0xddbbdfb8, 0xa1c0, 0x4dd5, {                                                                  \
      0xa3, 0x1b, 0x5d, 0x2a, 0x7a, 0x3b, 0xb6, 0xec                                               \
    }                                                                                              \
  }

#define NS_MIMEHEADERPARAM_CONTRACTID "@mozilla.org/network/mime-hdrparam;1"

class NS_NO_VTABLE nsIMIMEHeaderParam : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IMIMEHEADERPARAM_IID)

  /* 3 */ NS_IMETHOD GetParameter(const nsACString& aHeaderVal, const char* aParamName,
                                  const nsACString& aFallbackCharset, PRBool aTryLocaleCharset,
                                  char** aLang, nsAString& _retval) = 0;
  /* 4 */ NS_IMETHOD GetParameterInternal(const char* aHeaderVal, const char* aParamName,
                                          char** aCharset, char** aLang, char** _retval) = 0;
  /* 5 */ NS_IMETHOD DecodeRFC2047Header(const char* aHeaderVal, const char* aDefaultCharset,
                                         PRBool aOverrideCharset, PRBool aEatContinuation,
                                         nsACString& _retval) = 0;
  /* 6 */ NS_IMETHOD DecodeParameter(const nsACString& aParamValue, const char* aCharset,
                                     const char* aDefaultCharset, PRBool aOverrideCharset,
                                     nsACString& _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIMIMEHeaderParam, NS_IMIMEHEADERPARAM_IID)
