// A pending request: its name, status, cancellation and load flags.
#pragma once

#include "nsISupports.h"
#include "nsStringAPI.h"

class nsILoadGroup;

typedef PRUint32 nsLoadFlags;

#define NS_IREQUEST_IID_STR "ef6bfbd2-fd46-48d8-96b7-9f8f0fd387fe"
#define NS_IREQUEST_IID                                                                            \
  {                                                                                                \
    0xef6bfbd2, 0xfd46, 0x48d8, {                                                                  \
      0x96, 0xb7, 0x9f, 0x8f, 0x0f, 0xd3, 0x87, 0xfe                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIRequest : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IREQUEST_IID)

  enum { LOAD_NORMAL = 0U };
  enum { LOAD_BACKGROUND = 1U };

  /* 3 */ NS_IMETHOD GetName(nsACString& aName) = 0;
  /* 4 */ NS_IMETHOD IsPending(PRBool* _retval) = 0;
  /* 5 */ NS_IMETHOD GetStatus(nsresult* aStatus) = 0;
  /* 6 */ NS_IMETHOD Cancel(nsresult aStatus) = 0;
  /* 7 */ NS_IMETHOD Suspend(void) = 0;
  /* 8 */ NS_IMETHOD Resume(void) = 0;
  /* 9 */ NS_IMETHOD GetLoadGroup(nsILoadGroup** aLoadGroup) = 0;
  /* 10 */ NS_IMETHOD SetLoadGroup(nsILoadGroup* aLoadGroup) = 0;
  /* 11 */ NS_IMETHOD GetLoadFlags(nsLoadFlags* aLoadFlags) = 0;
  /* 12 */ NS_IMETHOD SetLoadFlags(nsLoadFlags aLoadFlags) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIRequest, NS_IREQUEST_IID)
