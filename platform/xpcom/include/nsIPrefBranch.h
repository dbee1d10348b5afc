// A branch of the preferences: typed values under dotted names.
#pragma once

#include "nsISupports.h"

#define NS_IPREFBRANCH_IID_STR "56c35506-f14b-11d3-99d3-ddbfac2ccf65"
#define NS_IPREFBRANCH_IID                                                                         \
  {                                                                                                \
    0x56c35506, 0xf14b, 0x11d3, {                                                                  \
      0x99, 0xd3, 0xdd, 0xbf, 0xac, 0x2c, 0xcf, 0x65                                               \
    }                                                                                              \
  }

#define NS_PREFBRANCH_CONTRACTID "@mozilla.org/preferencesbranch;1"
#define NS_PREFBRANCH_CLASSNAME "Preferences Branch"

class NS_NO_VTABLE nsIPrefBranch : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IPREFBRANCH_IID)

  enum { PREF_INVALID = 0 };
  enum { PREF_STRING = 32 };
  enum { PREF_INT = 64 };
  enum { PREF_BOOL = 128 };

  /* 3 */ NS_IMETHOD GetRoot(char** aRoot) = 0;
  /* 4 */ NS_IMETHOD GetPrefType(const char* aPrefName, PRInt32* _retval) = 0;
  /* 5 */ NS_IMETHOD GetBoolPref(const char* aPrefName, PRBool* _retval) = 0;
  /* 6 */ NS_IMETHOD SetBoolPref(const char* aPrefName, PRInt32 aValue) = 0;
  /* 7 */ NS_IMETHOD GetCharPref(const char* aPrefName, char** _retval) = 0;
  /* 8 */ NS_IMETHOD SetCharPref(const char* aPrefName, const char* aValue) = 0;
  /* 9 */ NS_IMETHOD GetIntPref(const char* aPrefName, PRInt32* _retval) = 0;
  /* 10 */ NS_IMETHOD SetIntPref(const char* aPrefName, PRInt32 aValue) = 0;
  /* 11 */ NS_IMETHOD GetComplexValue(const char* aPrefName, const nsIID& aType, void** aValue) = 0;
  /* 12 */ NS_IMETHOD SetComplexValue(const char* aPrefName, const nsIID& aType,
                                      nsISupports* aValue) = 0;
  /* 13 */ NS_IMETHOD ClearUserPref(const char* aPrefName) = 0;
  /* 14 */ NS_IMETHOD LockPref(const char* aPrefName) = 0;
  /* 15 */ NS_IMETHOD PrefHasUserValue(const char* aPrefName, PRBool* _retval) = 0;
  /* 16 */ NS_IMETHOD PrefIsLocked(const char* aPrefName, PRBool* _retval) = 0;
  /* 17 */ NS_IMETHOD UnlockPref(const char* aPrefName) = 0;
  /* 18 */ NS_IMETHOD DeleteBranch(const char* aStartingAt) = 0;
  /* 19 */ NS_IMETHOD GetChildList(const char* aStartingAt, PRUint32* aCount,
                                   char*** aChildArray) = 0;
  /* 20 */ NS_IMETHOD ResetBranch(const char* aStartingAt) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIPrefBranch, NS_IPREFBRANCH_IID)
