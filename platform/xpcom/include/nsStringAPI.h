// The frozen external 8-bit string API. Every string operation goes through the extern "C"
// functions exported by libxpcom, so a string passed by reference between the host and a
// plug-in is always handled by one implementation, whatever the two were compiled with.
#pragma once

#include <string.h>

#include "nsError.h"
#include "nscore.h"

class nsACString;
class nsAString;
class nsCStringContainer;
class nsCString;

// Flags of NS_CStringContainerInit2. Dependent data is honoured by copying: the result is the
// same.
enum {
  NS_CSTRING_CONTAINER_INIT_DEPEND = (1 << 1),
  NS_CSTRING_CONTAINER_INIT_SUBSTRING = (1 << 3)
};

extern "C" {
NS_EXPORT nsresult NS_CStringContainerInit(nsCStringContainer& aContainer);
NS_EXPORT nsresult NS_CStringContainerInit2(nsCStringContainer& aContainer, const char* aData,
                                            PRUint32 aDataLength, PRUint32 aFlags);
NS_EXPORT void NS_CStringContainerFinish(nsCStringContainer& aContainer);
// Length of the string; *aData points at its characters, which are NUL-terminated here
// (*aTerminated, if given, is always set to PR_TRUE).
NS_EXPORT PRUint32 NS_CStringGetData(const nsACString& aStr, const char** aData,
                                     PRBool* aTerminated);
// aDataLength PR_UINT32_MAX means "up to the first NUL"; a null aData means the empty string.
NS_EXPORT nsresult NS_CStringSetData(nsACString& aStr, const char* aData, PRUint32 aDataLength);
// Replaces aCutLength characters at aCutOffset with aData; offsets past the end are clamped,
// PR_UINT32_MAX as offset means the end.
NS_EXPORT nsresult NS_CStringSetDataRange(nsACString& aStr, PRUint32 aCutOffset,
                                          PRUint32 aCutLength, const char* aData,
                                          PRUint32 aDataLength);
NS_EXPORT nsresult NS_CStringCopy(nsACString& aDestStr, const nsACString& aSrcStr);
NS_EXPORT nsresult NS_CStringAppendData(nsACString& aStr, const char* aData, PRUint32 aDataLength);
NS_EXPORT nsresult NS_CStringCutData(nsACString& aStr, PRUint32 aCutOffset, PRUint32 aCutLength);
}

// An 8-bit string of bytes, handled by reference only. It is never made directly: make an
// nsCString (or an nsCStringContainer for the plain C functions).
class nsACString {
public:
  typedef char char_type;
  typedef PRUint32 size_type;
  typedef PRUint32 index_type;

  const char* get() const {
    const char* data;
    NS_CStringGetData(*this, &data, nullptr);
    return data;
  }
  PRUint32 Length() const {
    const char* data;
    return NS_CStringGetData(*this, &data, nullptr);
  }
  PRBool IsEmpty() const { return Length() == 0; }

  void Assign(const char* aData, PRUint32 aLength = PR_UINT32_MAX) {
    NS_CStringSetData(*this, aData, aLength);
  }
  void Assign(const nsACString& aStr) { NS_CStringCopy(*this, aStr); }
  void Assign(char aChar) { NS_CStringSetData(*this, &aChar, 1); }
  void Append(const char* aData, PRUint32 aLength = PR_UINT32_MAX) {
    NS_CStringAppendData(*this, aData, aLength);
  }
  void Append(const nsACString& aStr) {
    const char* data;
    PRUint32 len = NS_CStringGetData(aStr, &data, nullptr);
    NS_CStringAppendData(*this, data, len);
  }
  void Append(char aChar) { NS_CStringAppendData(*this, &aChar, 1); }
  // Shortens the string to aNewLength; a longer length leaves it as it is.
  void Truncate(PRUint32 aNewLength = 0) {
    if (aNewLength < Length())
      NS_CStringCutData(*this, aNewLength, PR_UINT32_MAX);
  }

  nsACString& operator=(const char* aData) {
    Assign(aData);
    return *this;
  }
  nsACString& operator=(const nsACString& aStr) {
    Assign(aStr);
    return *this;
  }
  nsACString& operator+=(const char* aData) {
    Append(aData);
    return *this;
  }
  nsACString& operator+=(const nsACString& aStr) {
    Append(aStr);
    return *this;
  }
  nsACString& operator+=(char aChar) {
    Append(aChar);
    return *this;
  }

  PRBool Equals(const char* aOther) const {
    const char* data;
    PRUint32 len = NS_CStringGetData(*this, &data, nullptr);
    if (!aOther)
      return len == 0;
    return strlen(aOther) == len && memcmp(data, aOther, len) == 0;
  }
  PRBool Equals(const nsACString& aOther) const {
    const char* a;
    const char* b;
    PRUint32 la = NS_CStringGetData(*this, &a, nullptr);
    PRUint32 lb = NS_CStringGetData(aOther, &b, nullptr);
    return la == lb && memcmp(a, b, la) == 0;
  }

  // Index of the first aChar at or after aOffset, or -1.
  PRInt32 FindChar(char aChar, PRUint32 aOffset = 0) const {
    const char* data;
    PRUint32 len = NS_CStringGetData(*this, &data, nullptr);
    if (aOffset >= len)
      return -1;
    const void* hit = memchr(data + aOffset, aChar, len - aOffset);
    return hit ? PRInt32(static_cast<const char*>(hit) - data) : -1;
  }
  // Index of the first occurrence of aPattern at or after aOffset (case-sensitive), or -1.
  // The empty pattern is found at aOffset.
  PRInt32 Find(const char* aPattern, PRUint32 aOffset = 0) const {
    return Find(aPattern, PRUint32(strlen(aPattern)), aOffset);
  }
  PRInt32 Find(const nsACString& aPattern, PRUint32 aOffset = 0) const {
    return Find(aPattern.get(), aPattern.Length(), aOffset);
  }

protected:
  nsACString() = default;
  ~nsACString() = default;

private:
  PRInt32 Find(const char* aPattern, PRUint32 aPatternLength, PRUint32 aOffset) const {
    const char* data;
    PRUint32 len = NS_CStringGetData(*this, &data, nullptr);
    if (aOffset > len || aPatternLength > len - aOffset)
      return -1;
    for (PRUint32 i = aOffset; i + aPatternLength <= len; ++i)
      if (memcmp(data + i, aPattern, aPatternLength) == 0)
        return PRInt32(i);
    return -1;
  }

  friend class nsCStringContainer;
  void* v = nullptr; // owned by libxpcom's implementation
};

inline bool operator==(const nsACString& a, const nsACString& b) {
  return a.Equals(b);
}
inline bool operator!=(const nsACString& a, const nsACString& b) {
  return !a.Equals(b);
}
inline bool operator==(const nsACString& a, const char* b) {
  return a.Equals(b);
}
inline bool operator!=(const nsACString& a, const char* b) {
  return !a.Equals(b);
}

// The storage behind a string: set up with NS_CStringContainerInit, torn down with
// NS_CStringContainerFinish.
class nsCStringContainer : public nsACString {
public:
  nsCStringContainer() = default;
  ~nsCStringContainer() = default;
  nsCStringContainer(const nsCStringContainer&) = delete;
  nsCStringContainer& operator=(const nsCStringContainer&) = delete;

private:
  void* d1 = nullptr;
  PRUint32 d2 = 0;
  void* d3 = nullptr;
};

// An owning 8-bit string.
class nsCString : public nsCStringContainer {
public:
  nsCString() { NS_CStringContainerInit(*this); }
  nsCString(const char* aData, PRUint32 aLength = PR_UINT32_MAX) {
    NS_CStringContainerInit2(*this, aData, aLength, 0);
  }
  nsCString(const nsCString& aStr) : nsCStringContainer() {
    NS_CStringContainerInit(*this);
    Assign(aStr);
  }
  nsCString(const nsACString& aStr) {
    NS_CStringContainerInit(*this);
    Assign(aStr);
  }
  ~nsCString() { NS_CStringContainerFinish(*this); }

  nsCString& operator=(const char* aData) {
    Assign(aData);
    return *this;
  }
  nsCString& operator=(const nsACString& aStr) {
    Assign(aStr);
    return *this;
  }
  nsCString& operator=(const nsCString& aStr) {
    Assign(aStr);
    return *this;
  }
};

typedef nsCString nsCAutoString;
typedef nsCString nsEmbedCString;

// A string that starts as a copy of aData; offered for code that names the host's dependent
// strings (here the characters are copied, so the source need not outlive it).
class nsDependentCString : public nsCString {
public:
  explicit nsDependentCString(const char* aData, PRUint32 aLength = PR_UINT32_MAX)
      : nsCString(aData, aLength) {}
};

#define NS_LITERAL_CSTRING(s) nsDependentCString(s, PRUint32(sizeof(s) - 1))
#define NS_CSTRING_CONSTANT(s) nsDependentCString(s)

// The UTF-16 string type is named by some host interfaces; this runtime offers no operations
// on it, so such arguments can only be passed along.
class nsAString {
protected:
  nsAString() = default;
  ~nsAString() = default;

private:
  void* v = nullptr;
};
