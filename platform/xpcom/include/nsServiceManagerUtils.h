// do_GetService: `nsCOMPtr<nsIFoo> foo = do_GetService("@host/foo;1", &rv);`
#pragma once

#include "nsCOMPtr.h"
#include "nsIServiceManager.h"
#include "nsXPCOM.h"

class nsGetServiceByContractID final : public nsCOMPtr_helper {
public:
  nsGetServiceByContractID(const char* aContractID, nsresult* aErrorPtr)
      : mContractID(aContractID), mErrorPtr(aErrorPtr) {}
  nsresult operator()(const nsIID& aIID, void** aResult) const override {
    *aResult = nullptr;
    nsIServiceManager* manager = nullptr;
    nsresult rv = NS_GetServiceManager(&manager);
    if (NS_SUCCEEDED(rv)) {
      rv = manager->GetServiceByContractID(mContractID, aIID, aResult);
      manager->Release();
    }
    if (mErrorPtr)
      *mErrorPtr = rv;
    return rv;
  }

private:
  const char* mContractID;
  nsresult* mErrorPtr;
};

class nsGetServiceByCID final : public nsCOMPtr_helper {
public:
  nsGetServiceByCID(const nsCID& aCID, nsresult* aErrorPtr) : mCID(aCID), mErrorPtr(aErrorPtr) {}
  nsresult operator()(const nsIID& aIID, void** aResult) const override {
    *aResult = nullptr;
    nsIServiceManager* manager = nullptr;
    nsresult rv = NS_GetServiceManager(&manager);
    if (NS_SUCCEEDED(rv)) {
      rv = manager->GetService(mCID, aIID, aResult);
      manager->Release();
    }
    if (mErrorPtr)
      *mErrorPtr = rv;
    return rv;
  }

private:
  const nsCID& mCID;
  nsresult* mErrorPtr;
};

inline nsGetServiceByContractID do_GetService(const char* aContractID, nsresult* aError = nullptr) {
  return nsGetServiceByContractID(aContractID, aError);
}
inline nsGetServiceByCID do_GetService(const nsCID& aCID, nsresult* aError = nullptr) {
  return nsGetServiceByCID(aCID, aError);
}

template <class DestinationType>
inline nsresult CallGetService(const char* aContractID, DestinationType** aDestination) {
  return nsGetServiceByContractID(aContractID, nullptr)(NS_GET_IID(DestinationType),
                                                        reinterpret_cast<void**>(aDestination));
}
