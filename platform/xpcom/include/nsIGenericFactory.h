// The generic module and factory: a bundle describes its classes in constant records and lets
// the runtime answer registration and factory requests from them.
#pragma once

#include "nsIFactory.h"
#include "nsIModule.h"

#include <new>

class nsIFile;
class nsIComponentManager;
class nsIClassInfo;

#define NS_GENERICFACTORY_CID                                                                      \
  {                                                                                                \
    0x3bc97f01, 0xccdf, 0x11d2, {                                                                  \
      0xba, 0xb8, 0xb5, 0x48, 0x65, 0x44, 0x61, 0xfc                                               \
    }                                                                                              \
  }
#define NS_IGENERICFACTORY_IID                                                                     \
  {                                                                                                \
    0x3bc97f00, 0xccdf, 0x11d2, {                                                                  \
      0xba, 0xb8, 0xb5, 0x48, 0x65, 0x44, 0x61, 0xfc                                               \
    }                                                                                              \
  }
#define NS_GENERICFACTORY_CONTRACTID "@mozilla.org/generic-factory;1"
#define NS_GENERICFACTORY_CLASSNAME "Generic Factory"

struct nsModuleComponentInfo;

class NS_NO_VTABLE nsIGenericFactory : public nsIFactory {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IGENERICFACTORY_IID)

  /* 5 */ NS_IMETHOD SetComponentInfo(const nsModuleComponentInfo* info) = 0;
  /* 6 */ NS_IMETHOD GetComponentInfo(const nsModuleComponentInfo** infop) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIGenericFactory, NS_IGENERICFACTORY_IID)

typedef nsresult (*NSConstructorProcPtr)(nsISupports* aOuter, REFNSIID aIID, void** aResult);
typedef nsresult (*NSRegisterSelfProcPtr)(nsIComponentManager* aCompMgr, nsIFile* aPath,
                                          const char* aLoaderStr, const char* aType,
                                          const nsModuleComponentInfo* aInfo);
typedef nsresult (*NSUnregisterSelfProcPtr)(nsIComponentManager* aCompMgr, nsIFile* aPath,
                                            const char* aLoaderStr,
                                            const nsModuleComponentInfo* aInfo);
typedef nsresult (*NSFactoryDestructorProcPtr)(void);
typedef nsresult (*NSGetInterfacesProcPtr)(PRUint32* countp, nsIID*** array);
typedef nsresult (*NSGetLanguageHelperProcPtr)(PRUint32 language, nsISupports** helper);

// One class of a module, in the record layout of format version 0x00015000.
struct nsModuleComponentInfo {
  const char* mDescription;
  nsCID mCID;
  const char* mContractID;
  NSConstructorProcPtr mConstructor;
  NSRegisterSelfProcPtr mRegisterSelfProc;
  NSUnregisterSelfProcPtr mUnregisterSelfProc;
  NSFactoryDestructorProcPtr mFactoryDestructor;
  NSGetInterfacesProcPtr mGetInterfacesProc;
  NSGetLanguageHelperProcPtr mGetLanguageHelperProc;
  nsIClassInfo** mClassInfoGlobal;
  PRUint32 mFlags;
};

typedef nsresult (*nsModuleConstructorProc)(nsIModule* self);
typedef void (*nsModuleDestructorProc)(nsIModule* self);

#define NS_MODULEINFO_VERSION 0x00015000UL

struct nsModuleInfo {
  PRUint32 mVersion;
  const char* mModuleName;
  const nsModuleComponentInfo* mComponents;
  PRUint32 mCount;
  nsModuleConstructorProc mCtor;
  nsModuleDestructorProc mDtor;
};

extern "C" {
// A module that answers from the records in info (which must outlive it). Refuses a record
// version it does not understand with NS_ERROR_FAILURE.
NS_EXPORT nsresult NS_NewGenericModule2(const nsModuleInfo* info, nsIModule** result);
NS_EXPORT nsresult NS_NewGenericFactory(nsIGenericFactory** result,
                                        const nsModuleComponentInfo* info);
}

#define NSGETMODULE_ENTRY_POINT(_name) extern "C" NS_EXPORT nsresult NSGetModule

#define NS_GENERIC_FACTORY_CONSTRUCTOR(_InstanceClass)                                             \
  static nsresult _InstanceClass##Constructor(nsISupports* aOuter, REFNSIID aIID,                  \
                                              void** aResult) {                                    \
    *aResult = nullptr;                                                                            \
    if (aOuter)                                                                                    \
      return NS_ERROR_NO_AGGREGATION;                                                              \
    _InstanceClass* inst = new (std::nothrow) _InstanceClass();                                    \
    if (!inst)                                                                                     \
      return NS_ERROR_OUT_OF_MEMORY;                                                               \
    NS_ADDREF(inst);                                                                               \
    nsresult rv = inst->QueryInterface(aIID, aResult);                                             \
    NS_RELEASE(inst);                                                                              \
    return rv;                                                                                     \
  }
