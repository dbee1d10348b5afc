// QueryInterface, AddRef and Release written once: NS_DECL_ISUPPORTS in the class, then
// NS_IMPL_ISUPPORTSn (one thread) or NS_IMPL_THREADSAFE_ISUPPORTSn in its source file.
#pragma once

#include <atomic>

#include "nsDebug.h"

// A reference count that starts at 0 and changes with plain arithmetic.
class nsAutoRefCnt {
public:
  nsAutoRefCnt() = default;
  nsrefcnt operator++() { return ++mValue; }
  nsrefcnt operator--() { return --mValue; }
  nsrefcnt operator=(nsrefcnt aValue) { return mValue = aValue; }
  operator nsrefcnt() const { return mValue; }
  // The same count, changed atomically, for objects used from several threads.
  std::atomic_ref<nsrefcnt> atomic() { return std::atomic_ref<nsrefcnt>(mValue); }

private:
  nsrefcnt mValue = 0;
};

// Also declares the count; written first in the class, the count is its first data member.
#define NS_DECL_ISUPPORTS                                                                          \
public:                                                                                            \
  NS_IMETHOD QueryInterface(REFNSIID aIID, void** aInstancePtr) override;                          \
  NS_IMETHOD_(nsrefcnt) AddRef(void) override;                                                     \
  NS_IMETHOD_(nsrefcnt) Release(void) override;                                                    \
                                                                                                   \
protected:                                                                                         \
  nsAutoRefCnt mRefCnt;                                                                            \
                                                                                                   \
public:

#define NS_IMPL_ADDREF(_class)                                                                     \
  NS_IMETHODIMP_(nsrefcnt) _class::AddRef(void) {                                                  \
    return ++mRefCnt;                                                                              \
  }

// At 0 the count is set to 1 before the object is deleted, so that references taken and dropped
// during the destruction cannot delete it a second time.
#define NS_IMPL_RELEASE_WITH_DESTROY(_class, _destroy)                                             \
  NS_IMETHODIMP_(nsrefcnt) _class::Release(void) {                                                 \
    nsrefcnt count = --mRefCnt;                                                                    \
    if (count != 0)                                                                                \
      return count;                                                                                \
    mRefCnt = 1;                                                                                   \
    _destroy;                                                                                      \
    return 0;                                                                                      \
  }

#define NS_IMPL_RELEASE(_class) NS_IMPL_RELEASE_WITH_DESTROY(_class, delete this)

#define NS_IMPL_THREADSAFE_ADDREF(_class)                                                          \
  NS_IMETHODIMP_(nsrefcnt) _class::AddRef(void) {                                                  \
    return mRefCnt.atomic().fetch_add(1) + 1;                                                      \
  }

#define NS_IMPL_THREADSAFE_RELEASE(_class)                                                         \
  NS_IMETHODIMP_(nsrefcnt) _class::Release(void) {                                                 \
    nsrefcnt count = mRefCnt.atomic().fetch_sub(1) - 1;                                            \
    if (count != 0)                                                                                \
      return count;                                                                                \
    mRefCnt.atomic().store(1);                                                                     \
    delete this;                                                                                   \
    return 0;                                                                                      \
  }

// The interface map: entries are tried in the order written; the first match is returned,
// with a reference, and no match stores null and answers NS_NOINTERFACE.
#define NS_INTERFACE_MAP_BEGIN(_implClass)                                                         \
  NS_IMETHODIMP _implClass::QueryInterface(REFNSIID aIID, void** aInstancePtr) {                   \
    nsISupports* foundInterface = nullptr;

#define NS_INTERFACE_MAP_ENTRY(_interface)                                                         \
  if (!foundInterface && aIID.Equals(NS_GET_IID(_interface)))                                      \
    foundInterface = static_cast<_interface*>(this);

// For an interface reachable along several base paths: answered by the path through _implClass.
#define NS_INTERFACE_MAP_ENTRY_AMBIGUOUS(_interface, _implClass)                                   \
  if (!foundInterface && aIID.Equals(NS_GET_IID(_interface)))                                      \
    foundInterface = static_cast<_interface*>(static_cast<_implClass*>(this));

#define NS_INTERFACE_MAP_END                                                                       \
  nsresult status;                                                                                 \
  if (!foundInterface)                                                                             \
    status = NS_NOINTERFACE;                                                                       \
  else {                                                                                           \
    NS_ADDREF(foundInterface);                                                                     \
    status = NS_OK;                                                                                \
  }                                                                                                \
  *aInstancePtr = foundInterface;                                                                  \
  return status;                                                                                   \
  }

#define NS_IMPL_QUERY_INTERFACE0(_class)                                                           \
  NS_INTERFACE_MAP_BEGIN(_class)                                                                   \
  NS_INTERFACE_MAP_ENTRY(nsISupports)                                                              \
  NS_INTERFACE_MAP_END

#define NS_IMPL_QUERY_INTERFACE1(_class, _i1)                                                      \
  NS_INTERFACE_MAP_BEGIN(_class)                                                                   \
  NS_INTERFACE_MAP_ENTRY(_i1)                                                                      \
  NS_INTERFACE_MAP_ENTRY_AMBIGUOUS(nsISupports, _i1)                                               \
  NS_INTERFACE_MAP_END

#define NS_IMPL_QUERY_INTERFACE2(_class, _i1, _i2)                                                 \
  NS_INTERFACE_MAP_BEGIN(_class)                                                                   \
  NS_INTERFACE_MAP_ENTRY(_i1)                                                                      \
  NS_INTERFACE_MAP_ENTRY(_i2)                                                                      \
  NS_INTERFACE_MAP_ENTRY_AMBIGUOUS(nsISupports, _i1)                                               \
  NS_INTERFACE_MAP_END

#define NS_IMPL_QUERY_INTERFACE3(_class, _i1, _i2, _i3)                                            \
  NS_INTERFACE_MAP_BEGIN(_class)                                                                   \
  NS_INTERFACE_MAP_ENTRY(_i1)                                                                      \
  NS_INTERFACE_MAP_ENTRY(_i2)                                                                      \
  NS_INTERFACE_MAP_ENTRY(_i3)                                                                      \
  NS_INTERFACE_MAP_ENTRY_AMBIGUOUS(nsISupports, _i1)                                               \
  NS_INTERFACE_MAP_END

#define NS_IMPL_QUERY_INTERFACE4(_class, _i1, _i2, _i3, _i4)                                       \
  NS_INTERFACE_MAP_BEGIN(_class)                                                                   \
  NS_INTERFACE_MAP_ENTRY(_i1)                                                                      \
  NS_INTERFACE_MAP_ENTRY(_i2)                                                                      \
  NS_INTERFACE_MAP_ENTRY(_i3)                                                                      \
  NS_INTERFACE_MAP_ENTRY(_i4)                                                                      \
  NS_INTERFACE_MAP_ENTRY_AMBIGUOUS(nsISupports, _i1)                                               \
  NS_INTERFACE_MAP_END

#define NS_IMPL_ISUPPORTS0(_class)                                                                 \
  NS_IMPL_ADDREF(_class)                                                                           \
  NS_IMPL_RELEASE(_class)                                                                          \
  NS_IMPL_QUERY_INTERFACE0(_class)
#define NS_IMPL_ISUPPORTS1(_class, _i1)                                                            \
  NS_IMPL_ADDREF(_class)                                                                           \
  NS_IMPL_RELEASE(_class)                                                                          \
  NS_IMPL_QUERY_INTERFACE1(_class, _i1)
#define NS_IMPL_ISUPPORTS2(_class, _i1, _i2)                                                       \
  NS_IMPL_ADDREF(_class)                                                                           \
  NS_IMPL_RELEASE(_class)                                                                          \
  NS_IMPL_QUERY_INTERFACE2(_class, _i1, _i2)
#define NS_IMPL_ISUPPORTS3(_class, _i1, _i2, _i3)                                                  \
  NS_IMPL_ADDREF(_class)                                                                           \
  NS_IMPL_RELEASE(_class)                                                                          \
  NS_IMPL_QUERY_INTERFACE3(_class, _i1, _i2, _i3)
#define NS_IMPL_ISUPPORTS4(_class, _i1, _i2, _i3, _i4)                                             \
  NS_IMPL_ADDREF(_class)                                                                           \
  NS_IMPL_RELEASE(_class)                                                                          \
  NS_IMPL_QUERY_INTERFACE4(_class, _i1, _i2, _i3, _i4)

#define NS_IMPL_THREADSAFE_ISUPPORTS1(_class, _i1)                                                 \
  NS_IMPL_THREADSAFE_ADDREF(_class)                                                                \
  NS_IMPL_THREADSAFE_RELEASE(_class)                                                               \
  NS_IMPL_QUERY_INTERFACE1(_class, _i1)
#define NS_IMPL_THREADSAFE_ISUPPORTS2(_class, _i1, _i2)                                            \
  NS_IMPL_THREADSAFE_ADDREF(_class)                                                                \
  NS_IMPL_THREADSAFE_RELEASE(_class)                                                               \
  NS_IMPL_QUERY_INTERFACE2(_class, _i1, _i2)
#define NS_IMPL_THREADSAFE_ISUPPORTS3(_class, _i1, _i2, _i3)                                       \
  NS_IMPL_THREADSAFE_ADDREF(_class)                                                                \
  NS_IMPL_THREADSAFE_RELEASE(_class)                                                               \
  NS_IMPL_QUERY_INTERFACE3(_class, _i1, _i2, _i3)
#define NS_IMPL_THREADSAFE_ISUPPORTS4(_class, _i1, _i2, _i3, _i4)                                  \
  NS_IMPL_THREADSAFE_ADDREF(_class)                                                                \
  NS_IMPL_THREADSAFE_RELEASE(_class)                                                               \
  NS_IMPL_QUERY_INTERFACE4(_class, _i1, _i2, _i3, _i4)
