// Strings handed out one by one.
#pragma once

#include "nsISupports.h"
#include "nsStringAPI.h"

#define NS_ISTRINGENUMERATOR_IID_STR "50d3ef6c-9380-4f06-9fb2-95488f7d141c"
#define NS_ISTRINGENUMERATOR_IID                                                                   \
  {                                                                                                \
    0x50d3ef6c, 0x9380, 0x4f06, {                                                                  \
      0x9f, 0xb2, 0x95, 0x48, 0x8f, 0x7d, 0x14, 0x1c                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIStringEnumerator : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_ISTRINGENUMERATOR_IID)

  /* 3 */ NS_IMETHOD HasMore(PRBool* _retval) = 0;
  /* 4 */ NS_IMETHOD GetNext(nsAString& _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIStringEnumerator, NS_ISTRINGENUMERATOR_IID)

#define NS_IUTF8STRINGENUMERATOR_IID_STR "9bdf1010-3695-4907-95ed-83d0410ec307"
#define NS_IUTF8STRINGENUMERATOR_IID                                                               \
  {                                                                                                \
    0x9bdf1010, 0x3695, 0x4907, {                                                                  \
      0x95, 0xed, 0x83, 0xd0, 0x41, 0x0e, 0xc3, 0x07                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIUTF8StringEnumerator : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IUTF8STRINGENUMERATOR_IID)

  /* 3 */ NS_IMETHOD HasMore(PRBool* _retval) = 0;
  /* 4 */ NS_IMETHOD GetNext(nsACString& _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIUTF8StringEnumerator, NS_IUTF8STRINGENUMERATOR_IID)
