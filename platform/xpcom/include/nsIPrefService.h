// The preferences service: reading and saving preferences, and handing out branches.
#pragma once

#include "nsISupports.h"

class nsIFile;
class nsIPrefBranch;

#define NS_IPREFSERVICE_IID_STR "decb9cc7-c08f-4ea5-be91-a8fc637ce2d2"
#define NS_IPREFSERVICE_IID                                                                        \
  {                                                                                                \
    0xdecb9cc7, 0xc08f, 0x4ea5, {                                                                  \
      0xbe, 0x91, 0xa8, 0xfc, 0x63, 0x7c, 0xe2, 0xd2                                               \
    }                                                                                              \
  }

#define NS_PREFSERVICE_CONTRACTID "@mozilla.org/preferences-service;1"
#define NS_PREFSERVICE_CLASSNAME "Preferences Server"

class NS_NO_VTABLE nsIPrefService : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IPREFSERVICE_IID)

  /* 3 */ NS_IMETHOD ReadUserPrefs(nsIFile* aFile) = 0;
  /* 4 */ NS_IMETHOD ResetPrefs(void) = 0;
  /* 5 */ NS_IMETHOD ResetUserPrefs(void) = 0;
  /* 6 */ NS_IMETHOD SavePrefFile(nsIFile* aFile) = 0;
  /* 7 */ NS_IMETHOD GetBranch(const char* aPrefRoot, nsIPrefBranch** _retval) = 0;
  /* 8 */ NS_IMETHOD GetDefaultBranch(const char* aPrefRoot, nsIPrefBranch** _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIPrefService, NS_IPREFSERVICE_IID)
