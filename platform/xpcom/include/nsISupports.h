// The root interface, its IID accessor macros and the reference-counting helpers.
#pragma once

#include "nsError.h"
#include "nsID.h"
#include "nscore.h"

// Every interface names its IID with NS_DECLARE_STATIC_IID_ACCESSOR inside the class and
// NS_DEFINE_STATIC_IID_ACCESSOR after it; NS_GET_IID(T) yields it. Being a template member,
// the definition may live in a header without duplicate-symbol trouble.
#define NS_DECLARE_STATIC_IID_ACCESSOR(the_iid)                                                    \
  template <class Dummy>                                                                           \
  struct COMTypeInfo {                                                                             \
    static const nsIID kIID;                                                                       \
  };                                                                                               \
  static const nsIID& GetIID() {                                                                   \
    return COMTypeInfo<int>::kIID;                                                                 \
  }

#define NS_DEFINE_STATIC_IID_ACCESSOR(the_interface, the_iid)                                      \
  template <class Dummy>                                                                           \
  const nsIID the_interface::COMTypeInfo<Dummy>::kIID = the_iid;

#define NS_GET_IID(T) (T::template COMTypeInfo<int>::kIID)
#define NS_GET_TEMPLATE_IID(T) NS_GET_IID(T)

#define NS_ISUPPORTS_IID                                                                           \
  {                                                                                                \
    0x00000000, 0x0000, 0x0000, {                                                                  \
      0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_ISUPPORTS_IID)

  NS_IMETHOD QueryInterface(REFNSIID aIID, void** aInstancePtr) = 0;
  NS_IMETHOD_(nsrefcnt) AddRef(void) = 0;
  NS_IMETHOD_(nsrefcnt) Release(void) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsISupports, NS_ISUPPORTS_IID)

#define NS_ADDREF(_ptr) (_ptr)->AddRef()
#define NS_ADDREF_THIS() AddRef()
#define NS_RELEASE(_ptr)                                                                           \
  do {                                                                                             \
    (_ptr)->Release();                                                                             \
    (_ptr) = 0;                                                                                    \
  } while (0)
#define NS_RELEASE_THIS() Release()
#define NS_RELEASE2(_ptr, _rv)                                                                     \
  do {                                                                                             \
    _rv = (_ptr)->Release();                                                                       \
    if (0 == (_rv))                                                                                \
      (_ptr) = 0;                                                                                  \
  } while (0)
#define NS_IF_ADDREF(_ptr)                                                                         \
  do {                                                                                             \
    if (_ptr)                                                                                      \
      (_ptr)->AddRef();                                                                            \
  } while (0)
#define NS_IF_RELEASE(_ptr)                                                                        \
  do {                                                                                             \
    if (_ptr) {                                                                                    \
      (_ptr)->Release();                                                                           \
      (_ptr) = 0;                                                                                  \
    }                                                                                              \
  } while (0)

#include "nsISupportsImpl.h"

// Typed QueryInterface: CallQueryInterface(ptr, &typedDestination).
template <class T, class DestinationType>
inline nsresult CallQueryInterface(T* aSource, DestinationType** aDestination) {
  return aSource->QueryInterface(NS_GET_IID(DestinationType),
                                 reinterpret_cast<void**>(aDestination));
}
