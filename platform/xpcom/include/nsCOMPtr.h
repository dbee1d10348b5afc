// nsCOMPtr<T>: a smart pointer that holds one counted reference to an interface.
#pragma once

#include <cstddef>

#include "nsISupports.h"

// A pointer whose reference the receiver takes over (no AddRef on assignment).
template <class T>
class already_AddRefed {
public:
  already_AddRefed() : mRawPtr(nullptr) {}
  explicit already_AddRefed(T* aRawPtr) : mRawPtr(aRawPtr) {}
  T* get() const { return mRawPtr; }

private:
  T* mRawPtr;
};

// Something that produces an interface pointer for a given IID: the base of do_GetService,
// do_CreateInstance and friends.
class nsCOMPtr_helper {
public:
  virtual nsresult operator()(const nsIID& aIID, void** aResult) const = 0;

protected:
  ~nsCOMPtr_helper() = default;
};

class nsQueryInterface final : public nsCOMPtr_helper {
public:
  nsQueryInterface(nsISupports* aRawPtr, nsresult* aError) : mRawPtr(aRawPtr), mErrorPtr(aError) {}
  nsresult operator()(const nsIID& aIID, void** aResult) const override {
    nsresult rv = mRawPtr ? mRawPtr->QueryInterface(aIID, aResult) : NS_ERROR_NULL_POINTER;
    if (!mRawPtr)
      *aResult = nullptr;
    if (mErrorPtr)
      *mErrorPtr = rv;
    return rv;
  }

private:
  nsISupports* mRawPtr;
  nsresult* mErrorPtr;
};

inline nsQueryInterface do_QueryInterface(nsISupports* aRawPtr, nsresult* aError = nullptr) {
  return nsQueryInterface(aRawPtr, aError);
}

template <class T>
class nsCOMPtr {
public:
  typedef T element_type;

  nsCOMPtr() : mRawPtr(nullptr) {}
  nsCOMPtr(std::nullptr_t) : mRawPtr(nullptr) {}
  nsCOMPtr(T* aRawPtr) : mRawPtr(aRawPtr) {
    if (mRawPtr)
      mRawPtr->AddRef();
  }
  nsCOMPtr(const nsCOMPtr& aOther) : nsCOMPtr(aOther.mRawPtr) {}
  nsCOMPtr(nsCOMPtr&& aOther) noexcept : mRawPtr(aOther.mRawPtr) { aOther.mRawPtr = nullptr; }
  nsCOMPtr(const already_AddRefed<T>& aRef) : mRawPtr(aRef.get()) {}
  nsCOMPtr(const nsCOMPtr_helper& aHelper) : mRawPtr(nullptr) {
    void* result = nullptr;
    if (NS_FAILED(aHelper(NS_GET_IID(T), &result)))
      result = nullptr;
    mRawPtr = static_cast<T*>(result);
  }
  ~nsCOMPtr() {
    if (mRawPtr)
      mRawPtr->Release();
  }

  nsCOMPtr& operator=(T* aRawPtr) {
    if (aRawPtr)
      aRawPtr->AddRef();
    AssignAddRefed(aRawPtr);
    return *this;
  }
  nsCOMPtr& operator=(const nsCOMPtr& aOther) { return operator=(aOther.mRawPtr); }
  nsCOMPtr& operator=(nsCOMPtr&& aOther) noexcept {
    if (this != &aOther) {
      AssignAddRefed(aOther.mRawPtr);
      aOther.mRawPtr = nullptr;
    }
    return *this;
  }
  nsCOMPtr& operator=(std::nullptr_t) {
    AssignAddRefed(nullptr);
    return *this;
  }
  nsCOMPtr& operator=(const already_AddRefed<T>& aRef) {
    AssignAddRefed(aRef.get());
    return *this;
  }
  nsCOMPtr& operator=(const nsCOMPtr_helper& aHelper) {
    void* result = nullptr;
    if (NS_FAILED(aHelper(NS_GET_IID(T), &result)))
      result = nullptr;
    AssignAddRefed(static_cast<T*>(result));
    return *this;
  }

  T* get() const { return mRawPtr; }
  operator T*() const { return mRawPtr; }
  T* operator->() const { return mRawPtr; }
  T& operator*() const { return *mRawPtr; }

  void swap(nsCOMPtr& aOther) {
    T* tmp = mRawPtr;
    mRawPtr = aOther.mRawPtr;
    aOther.mRawPtr = tmp;
  }
  void swap(T*& aRawPtr) {
    T* tmp = mRawPtr;
    mRawPtr = aRawPtr;
    aRawPtr = tmp;
  }

  // Gives up the reference without releasing it.
  already_AddRefed<T> forget() {
    T* tmp = mRawPtr;
    mRawPtr = nullptr;
    return already_AddRefed<T>(tmp);
  }
  void forget(T** aResult) {
    *aResult = mRawPtr;
    mRawPtr = nullptr;
  }

  // Hands the reference out with an AddRef of its own.
  nsresult CopyTo(T** aResult) const {
    *aResult = mRawPtr;
    if (mRawPtr)
      mRawPtr->AddRef();
    return NS_OK;
  }

  // For getter_AddRefs: drops what is held and returns the slot to be filled.
  T** StartAssignment() {
    AssignAddRefed(nullptr);
    return &mRawPtr;
  }

private:
  void AssignAddRefed(T* aRawPtr) {
    T* old = mRawPtr;
    mRawPtr = aRawPtr;
    if (old)
      old->Release();
  }

  T* mRawPtr;
};

template <class T>
class nsGetterAddRefs {
public:
  explicit nsGetterAddRefs(nsCOMPtr<T>& aSmartPtr) : mTargetSmartPtr(aSmartPtr) {}
  operator T**() { return mTargetSmartPtr.StartAssignment(); }
  operator void**() { return reinterpret_cast<void**>(mTargetSmartPtr.StartAssignment()); }
  operator nsISupports**() {
    return reinterpret_cast<nsISupports**>(mTargetSmartPtr.StartAssignment());
  }

private:
  nsCOMPtr<T>& mTargetSmartPtr;
};

template <>
class nsGetterAddRefs<nsISupports> {
public:
  explicit nsGetterAddRefs(nsCOMPtr<nsISupports>& aSmartPtr) : mTargetSmartPtr(aSmartPtr) {}
  operator nsISupports**() { return mTargetSmartPtr.StartAssignment(); }
  operator void**() { return reinterpret_cast<void**>(mTargetSmartPtr.StartAssignment()); }

private:
  nsCOMPtr<nsISupports>& mTargetSmartPtr;
};

template <class T>
inline nsGetterAddRefs<T> getter_AddRefs(nsCOMPtr<T>& aSmartPtr) {
  return nsGetterAddRefs<T>(aSmartPtr);
}

template <class T, class U>
inline bool operator==(const nsCOMPtr<T>& a, const nsCOMPtr<U>& b) {
  return static_cast<const void*>(a.get()) == static_cast<const void*>(b.get());
}
template <class T, class U>
inline bool operator!=(const nsCOMPtr<T>& a, const nsCOMPtr<U>& b) {
  return !(a == b);
}
template <class T, class U>
inline bool operator==(const nsCOMPtr<T>& a, U* b) {
  return static_cast<const void*>(a.get()) == static_cast<const void*>(b);
}
template <class T, class U>
inline bool operator!=(const nsCOMPtr<T>& a, U* b) {
  return !(a == b);
}
template <class T, class U>
inline bool operator==(U* a, const nsCOMPtr<T>& b) {
  return b == a;
}
template <class T, class U>
inline bool operator!=(U* a, const nsCOMPtr<T>& b) {
  return !(b == a);
}
template <class T>
inline bool operator==(const nsCOMPtr<T>& a, std::nullptr_t) {
  return a.get() == nullptr;
}
template <class T>
inline bool operator!=(const nsCOMPtr<T>& a, std::nullptr_t) {
  return a.get() != nullptr;
}

// Typed QueryInterface through an nsCOMPtr.
template <class T, class DestinationType>
inline nsresult CallQueryInterface(const nsCOMPtr<T>& aSource, DestinationType** aDestination) {
  return CallQueryInterface(aSource.get(), aDestination);
}
