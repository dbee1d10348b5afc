// Registering factories under class and contract IDs.
#pragma once

#include "nsISupports.h"

class nsIFile;
class nsIFactory;
class nsISimpleEnumerator;

#define NS_ICOMPONENTREGISTRAR_IID_STR "2417cbfe-65ad-48a6-b4b6-eb84db174392"
#define NS_ICOMPONENTREGISTRAR_IID                                                                 \
  {                                                                                                \
    0x2417cbfe, 0x65ad, 0x48a6, {                                                                  \
      0xb4, 0xb6, 0xeb, 0x84, 0xdb, 0x17, 0x43, 0x92                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIComponentRegistrar : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_ICOMPONENTREGISTRAR_IID)

  /* 3 */ NS_IMETHOD AutoRegister(nsIFile* aSpec) = 0;
  /* 4 */ NS_IMETHOD AutoUnregister(nsIFile* aSpec) = 0;
  /* 5 */ NS_IMETHOD RegisterFactory(const nsCID& aClass, const char* aClassName,
                                     const char* aContractID, nsIFactory* aFactory) = 0;
  /* 6 */ NS_IMETHOD UnregisterFactory(const nsCID& aClass, nsIFactory* aFactory) = 0;
  /* 7 */ NS_IMETHOD RegisterFactoryLocation(const nsCID& aClass, const char* aClassName,
                                             const char* aContractID, nsIFile* aFile,
                                             const char* aLoaderStr, const char* aType) = 0;
  /* 8 */ NS_IMETHOD UnregisterFactoryLocation(const nsCID& aClass, nsIFile* aFile) = 0;
  /* 9 */ NS_IMETHOD IsCIDRegistered(const nsCID& aClass, PRBool* _retval) = 0;
  /* 10 */ NS_IMETHOD IsContractIDRegistered(const char* aContractID, PRBool* _retval) = 0;
  /* 11 */ NS_IMETHOD EnumerateCIDs(nsISimpleEnumerator** _retval) = 0;
  /* 12 */ NS_IMETHOD EnumerateContractIDs(nsISimpleEnumerator** _retval) = 0;
  /* 13 */ NS_IMETHOD CIDToContractID(const nsCID& aClass, char** _retval) = 0;
  /* 14 */ NS_IMETHOD ContractIDToCID(const char* aContractID, nsCID** _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIComponentRegistrar, NS_ICOMPONENTREGISTRAR_IID)
