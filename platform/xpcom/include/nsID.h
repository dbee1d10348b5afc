// The 128-bit identifier of interfaces (IIDs) and classes (CIDs).
#pragma once

#include <string.h>

#include "nscore.h"

#define NSID_LENGTH 39 // "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" and its NUL

struct nsID {
  PRUint32 m0;
  PRUint16 m1;
  PRUint16 m2;
  PRUint8 m3[8];

  // Compared as four 32-bit words, as the host does.
  inline PRBool Equals(const nsID& other) const {
    PRUint32 a[4];
    PRUint32 b[4];
    memcpy(a, this, sizeof a);
    memcpy(b, &other, sizeof b);
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2] && a[3] == b[3];
  }

  // Accepts the 36-character form, with or without braces. Returns PR_FALSE (leaving the ID
  // unchanged) for anything else.
  NS_COM PRBool Parse(const char* aIDStr);
  // Writes "{xxxxxxxx-...}" in lower case into a buffer of at least NSID_LENGTH bytes.
  NS_COM void ToProvidedString(char (&aDest)[NSID_LENGTH]) const;
  // Returns the same text in memory from NS_Alloc; the caller frees it with NS_Free.
  NS_COM char* ToString() const;
};

static_assert(sizeof(nsID) == 16, "nsID must be 16 bytes");

inline bool operator==(const nsID& a, const nsID& b) {
  return a.Equals(b);
}
inline bool operator!=(const nsID& a, const nsID& b) {
  return !a.Equals(b);
}

typedef nsID nsIID;
typedef nsID nsCID;
typedef const nsID& REFNSID;
typedef const nsIID& REFNSIID;
typedef const nsCID& REFNSCID;

#define NS_DEFINE_CID(_name, _cidspec) const nsCID _name = _cidspec
#define NS_DEFINE_IID(_name, _iidspec) const nsIID _name = _iidspec
#define NS_DEFINE_NAMED_CID(_name) static nsCID k##_name = _name
