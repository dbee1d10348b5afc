// The one implementation of the 8-bit string API. A string's handle (nsACString::v) points at
// a std::string owned here; containers own theirs from Init to Finish.
#include <new>
#include <string>

#include "nsStringAPI.h"

namespace {

struct StringHandle {
  void* v;
};

std::string*& Storage(nsACString& aStr) {
  return *reinterpret_cast<std::string**>(&reinterpret_cast<StringHandle&>(aStr).v);
}

const std::string* Storage(const nsACString& aStr) {
  return static_cast<const std::string*>(reinterpret_cast<const StringHandle&>(aStr).v);
}

// A container whose Init never ran (or failed) still behaves as an empty string.
std::string& Writable(nsACString& aStr) {
  std::string*& s = Storage(aStr);
  if (!s)
    s = new std::string();
  return *s;
}

size_t LengthOf(const char* aData, PRUint32 aDataLength) {
  if (!aData)
    return 0;
  return aDataLength == PR_UINT32_MAX ? strlen(aData) : aDataLength;
}

} // namespace

static_assert(sizeof(nsACString) == sizeof(void*), "nsACString is one handle");

extern "C" {

nsresult NS_CStringContainerInit(nsCStringContainer& aContainer) {
  return NS_CStringContainerInit2(aContainer, nullptr, PR_UINT32_MAX, 0);
}

nsresult NS_CStringContainerInit2(nsCStringContainer& aContainer, const char* aData,
                                  PRUint32 aDataLength, PRUint32) {
  std::string* s = new (std::nothrow) std::string();
  Storage(aContainer) = s;
  if (!s)
    return NS_ERROR_OUT_OF_MEMORY;
  if (aData)
    s->assign(aData, LengthOf(aData, aDataLength));
  return NS_OK;
}

void NS_CStringContainerFinish(nsCStringContainer& aContainer) {
  std::string*& s = Storage(aContainer);
  delete s;
  s = nullptr;
}

PRUint32 NS_CStringGetData(const nsACString& aStr, const char** aData, PRBool* aTerminated) {
  if (aTerminated)
    *aTerminated = PR_TRUE;
  const std::string* s = Storage(aStr);
  if (!s) {
    *aData = "";
    return 0;
  }
  *aData = s->c_str();
  return PRUint32(s->size());
}

nsresult NS_CStringSetData(nsACString& aStr, const char* aData, PRUint32 aDataLength) {
  std::string& s = Writable(aStr);
  if (!aData) {
    s.clear();
    return NS_OK;
  }
  // aData may point into s itself; assign copes with that.
  s.assign(aData, LengthOf(aData, aDataLength));
  return NS_OK;
}

nsresult NS_CStringSetDataRange(nsACString& aStr, PRUint32 aCutOffset, PRUint32 aCutLength,
                                const char* aData, PRUint32 aDataLength) {
  std::string& s = Writable(aStr);
  size_t offset = aCutOffset == PR_UINT32_MAX ? s.size() : aCutOffset;
  if (offset > s.size())
    offset = s.size();
  size_t cut = aCutLength;
  if (cut > s.size() - offset)
    cut = s.size() - offset;
  // Copy first: aData may point into s.
  std::string insert(aData ? aData : "", LengthOf(aData, aDataLength));
  s.replace(offset, cut, insert);
  return NS_OK;
}

nsresult NS_CStringCopy(nsACString& aDestStr, const nsACString& aSrcStr) {
  if (&aDestStr == &aSrcStr)
    return NS_OK;
  const char* data;
  PRUint32 len = NS_CStringGetData(aSrcStr, &data, nullptr);
  return NS_CStringSetData(aDestStr, data, len);
}

nsresult NS_CStringAppendData(nsACString& aStr, const char* aData, PRUint32 aDataLength) {
  return NS_CStringSetDataRange(aStr, PR_UINT32_MAX, 0, aData, aDataLength);
}

nsresult NS_CStringCutData(nsACString& aStr, PRUint32 aCutOffset, PRUint32 aCutLength) {
  return NS_CStringSetDataRange(aStr, aCutOffset, aCutLength, nullptr, 0);
}
}
