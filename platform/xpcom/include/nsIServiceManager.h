// Getting services, the single shared instances, by class ID or contract ID.
#pragma once

#include "nsISupports.h"

#define NS_ISERVICEMANAGER_IID_STR "8bb35ed9-e332-462d-9155-4a002ab5c958"
#define NS_ISERVICEMANAGER_IID                                                                     \
  {                                                                                                \
    0x8bb35ed9, 0xe332, 0x462d, {                                                                  \
      0x91, 0x55, 0x4a, 0x00, 0x2a, 0xb5, 0xc9, 0x58                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIServiceManager : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_ISERVICEMANAGER_IID)

  /* 3 */ NS_IMETHOD GetService(const nsCID& aClass, const nsIID& aIID, void** result) = 0;
  /* 4 */ NS_IMETHOD GetServiceByContractID(const char* aContractID, const nsIID& aIID,
                                            void** result) = 0;
  /* 5 */ NS_IMETHOD IsServiceInstantiated(const nsCID& aClass, const nsIID& aIID,
                                           PRBool* _retval) = 0;
  /* 6 */ NS_IMETHOD IsServiceInstantiatedByContractID(const char* aContractID, const nsIID& aIID,
                                                       PRBool* _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIServiceManager, NS_ISERVICEMANAGER_IID)
