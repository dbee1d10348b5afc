// Creating component instances by class ID or contract ID.
#pragma once

#include "nsISupports.h"

#define NS_ICOMPONENTMANAGER_IID_STR "a88e5a60-205a-4bb1-94e1-2628daf51eae"
#define NS_ICOMPONENTMANAGER_IID                                                                   \
  {                                                                                                \
    0xa88e5a60, 0x205a, 0x4bb1, {                                                                  \
      0x94, 0xe1, 0x26, 0x28, 0xda, 0xf5, 0x1e, 0xae                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIComponentManager : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_ICOMPONENTMANAGER_IID)

  /* 3 */ NS_IMETHOD GetClassObject(const nsCID& aClass, const nsIID& aIID, void** result) = 0;
  /* 4 */ NS_IMETHOD GetClassObjectByContractID(const char* aContractID, const nsIID& aIID,
                                                void** result) = 0;
  /* 5 */ NS_IMETHOD CreateInstance(const nsCID& aClass, nsISupports* aDelegate, const nsIID& aIID,
                                    void** result) = 0;
  /* 6 */ NS_IMETHOD CreateInstanceByContractID(const char* aContractID, nsISupports* aDelegate,
                                                const nsIID& aIID, void** result) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIComponentManager, NS_ICOMPONENTMANAGER_IID)
