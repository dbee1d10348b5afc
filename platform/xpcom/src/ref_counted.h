// Reference counting shared by the runtime's own objects.
#ifndef xpcom_ref_counted_h
#define xpcom_ref_counted_h

#include <atomic>

#include "nsISupports.h"
#include "nscore.h"

namespace xpcom {

// Counts references for one object; the owner deletes itself when Release returns 0.
class RefCount {
public:
  nsrefcnt Increment() { return ++mCount; }
  nsrefcnt Decrement() { return --mCount; }

private:
  std::atomic<nsrefcnt> mCount{0};
};

// QueryInterface for an object that answers each of `Interfaces` with the one pointer aFace.
template <typename... Interfaces, typename Face>
nsresult QueryFace(Face* aFace, REFNSIID aIID, void** aResult) {
  if ((aIID.Equals(NS_GET_IID(Interfaces)) || ...)) {
    *aResult = aFace;
    aFace->AddRef();
    return NS_OK;
  }
  *aResult = nullptr;
  return NS_ERROR_NO_INTERFACE;
}

} // namespace xpcom

#define XPCOM_IMPL_ADDREF_RELEASE(_class)                                                          \
  NS_IMETHODIMP_(nsrefcnt) _class::AddRef() {                                                      \
    return mRefCount.Increment();                                                                  \
  }                                                                                                \
  NS_IMETHODIMP_(nsrefcnt) _class::Release() {                                                     \
    nsrefcnt count = mRefCount.Decrement();                                                        \
    if (count == 0)                                                                                \
      delete this;                                                                                 \
    return count;                                                                                  \
  }

#endif
