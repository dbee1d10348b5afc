// do_CreateInstance: `nsCOMPtr<nsIFoo> foo = do_CreateInstance("@host/foo;1", &rv);`
#pragma once

#include "nsCOMPtr.h"
#include "nsIComponentManager.h"
#include "nsXPCOM.h"

class nsCreateInstanceByContractID final : public nsCOMPtr_helper {
public:
  nsCreateInstanceByContractID(const char* aContractID, nsISupports* aOuter, nsresult* aErrorPtr)
      : mContractID(aContractID), mOuter(aOuter), mErrorPtr(aErrorPtr) {}
  nsresult operator()(const nsIID& aIID, void** aResult) const override {
    *aResult = nullptr;
    nsIComponentManager* manager = nullptr;
    nsresult rv = NS_GetComponentManager(&manager);
    if (NS_SUCCEEDED(rv)) {
      rv = manager->CreateInstanceByContractID(mContractID, mOuter, aIID, aResult);
      manager->Release();
    }
    if (mErrorPtr)
      *mErrorPtr = rv;
    return rv;
  }

private:
  const char* mContractID;
  nsISupports* mOuter;
  nsresult* mErrorPtr;
};

class nsCreateInstanceByCID final : public nsCOMPtr_helper {
public:
  nsCreateInstanceByCID(const nsCID& aCID, nsISupports* aOuter, nsresult* aErrorPtr)
      : mCID(aCID), mOuter(aOuter), mErrorPtr(aErrorPtr) {}
  nsresult operator()(const nsIID& aIID, void** aResult) const override {
    *aResult = nullptr;
    nsIComponentManager* manager = nullptr;
    nsresult rv = NS_GetComponentManager(&manager);
    if (NS_SUCCEEDED(rv)) {
      rv = manager->CreateInstance(mCID, mOuter, aIID, aResult);
      manager->Release();
    }
    if (mErrorPtr)
      *mErrorPtr = rv;
    return rv;
  }

private:
  const nsCID& mCID;
  nsISupports* mOuter;
  nsresult* mErrorPtr;
};

inline nsCreateInstanceByContractID do_CreateInstance(const char* aContractID,
                                                      nsresult* aError = nullptr) {
  return nsCreateInstanceByContractID(aContractID, nullptr, aError);
}
inline nsCreateInstanceByCID do_CreateInstance(const nsCID& aCID, nsresult* aError = nullptr) {
  return nsCreateInstanceByCID(aCID, nullptr, aError);
}

template <class DestinationType>
inline nsresult CallCreateInstance(const char* aContractID, DestinationType** aDestination) {
  return nsCreateInstanceByContractID(aContractID, nullptr, nullptr)(
      NS_GET_IID(DestinationType), reinterpret_cast<void**>(aDestination));
}
