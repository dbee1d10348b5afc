#pragma once

#include <nsISupports.h>

// AddRef and Release for the host's objects: plain counts, as every object here lives on the
// main thread. A count that reaches 0 is set to 1 first, so that references taken and dropped
// while the object is being destroyed cannot destroy it twice.
#define MAILHOST_IMPL_REFCOUNTING(Class)                                                           \
  NS_IMETHODIMP_(nsrefcnt) Class::AddRef() {                                                       \
    return ++mRefCount;                                                                            \
  }                                                                                                \
  NS_IMETHODIMP_(nsrefcnt) Class::Release() {                                                      \
    nsrefcnt count = --mRefCount;                                                                  \
    if (count == 0) {                                                                              \
      mRefCount = 1;                                                                               \
      delete this;                                                                                 \
    }                                                                                              \
    return count;                                                                                  \
  }

namespace mailhost {

// QueryInterface for an object whose interfaces form one chain from nsISupports: every IID
// in `iids` is answered with `self`.
template <typename Self, typename... Interfaces>
nsresult queryChain(Self* self, const nsIID& iid, void** result) {
  if (!result)
    return NS_ERROR_NULL_POINTER;
  if (((iid.Equals(NS_GET_IID(Interfaces))) || ...)) {
    self->AddRef();
    *result = self;
    return NS_OK;
  }
  *result = nullptr;
  return NS_ERROR_NO_INTERFACE;
}

} // namespace mailhost
