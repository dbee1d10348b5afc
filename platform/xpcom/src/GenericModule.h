// The generic module and factory behind NS_NewGenericModule2.
#pragma once

#include <vector>

#include "nsCOMPtr.h"
#include "nsIGenericFactory.h"

namespace xpcom {

// An IID private to this runtime: a module answering it is a GenericModule, which lets the
// component manager learn the module's name when it registers.
#define XPCOM_GENERIC_MODULE_IID                                                                   \
  {                                                                                                \
    0x5b0f4a8e, 0x2c1d, 0x4e37, {                                                                  \
      0x9a, 0x61, 0x0d, 0x3f, 0x7c, 0x42, 0x18, 0xb5                                               \
    }                                                                                              \
  }

class GenericFactory final : public nsIGenericFactory {
public:
  NS_DECL_ISUPPORTS
  NS_IMETHOD CreateInstance(nsISupports* aOuter, const nsIID& iid, void** result) override;
  NS_IMETHOD LockFactory(PRBool lock) override;
  NS_IMETHOD SetComponentInfo(const nsModuleComponentInfo* info) override;
  NS_IMETHOD GetComponentInfo(const nsModuleComponentInfo** infop) override;

private:
  ~GenericFactory();
  const nsModuleComponentInfo* mInfo = nullptr;
};

class GenericModule final : public nsIModule {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(XPCOM_GENERIC_MODULE_IID)

  explicit GenericModule(const nsModuleInfo* aInfo) : mInfo(aInfo), mFactories(aInfo->mCount) {}

  NS_DECL_ISUPPORTS
  NS_IMETHOD GetClassObject(nsIComponentManager* aCompMgr, const nsCID& aClass, const nsIID& aIID,
                            void** aResult) override;
  NS_IMETHOD RegisterSelf(nsIComponentManager* aCompMgr, nsIFile* aLocation, const char* aLoaderStr,
                          const char* aType) override;
  NS_IMETHOD UnregisterSelf(nsIComponentManager* aCompMgr, nsIFile* aLocation,
                            const char* aLoaderStr) override;
  NS_IMETHOD CanUnload(nsIComponentManager* aCompMgr, PRBool* _retval) override;

  const char* ModuleName() const { return mInfo->mModuleName; }

private:
  ~GenericModule();

  const nsModuleInfo* mInfo;
  std::vector<nsCOMPtr<nsIGenericFactory>> mFactories; // one per component, made on demand
};

NS_DEFINE_STATIC_IID_ACCESSOR(GenericModule, XPCOM_GENERIC_MODULE_IID)

} // namespace xpcom
