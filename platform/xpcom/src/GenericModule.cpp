#include "GenericModule.h"

#include <new>

#include "nsIComponentManager.h"
#include "nsIComponentRegistrar.h"

namespace xpcom {

NS_IMPL_THREADSAFE_ISUPPORTS2(GenericFactory, nsIGenericFactory, nsIFactory)

GenericFactory::~GenericFactory() = default;

NS_IMETHODIMP GenericFactory::CreateInstance(nsISupports* aOuter, const nsIID& iid, void** result) {
  NS_ENSURE_ARG_POINTER(result);
  if (!mInfo || !mInfo->mConstructor) {
    *result = nullptr;
    return NS_ERROR_FACTORY_NOT_LOADED;
  }
  return mInfo->mConstructor(aOuter, iid, result);
}

NS_IMETHODIMP GenericFactory::LockFactory(PRBool) {
  return NS_OK;
}

NS_IMETHODIMP GenericFactory::SetComponentInfo(const nsModuleComponentInfo* info) {
  mInfo = info;
  return NS_OK;
}

NS_IMETHODIMP GenericFactory::GetComponentInfo(const nsModuleComponentInfo** infop) {
  NS_ENSURE_ARG_POINTER(infop);
  *infop = mInfo;
  return NS_OK;
}

// Asked for as GenericModule, it answers for its own class: the runtime reads its name.
NS_IMPL_THREADSAFE_ISUPPORTS2(GenericModule, nsIModule, GenericModule)

GenericModule::~GenericModule() = default;

NS_IMETHODIMP GenericModule::GetClassObject(nsIComponentManager*, const nsCID& aClass,
                                            const nsIID& aIID, void** aResult) {
  NS_ENSURE_ARG_POINTER(aResult);
  *aResult = nullptr;
  for (PRUint32 i = 0; i < mInfo->mCount; ++i) {
    const nsModuleComponentInfo& info = mInfo->mComponents[i];
    if (!info.mCID.Equals(aClass))
      continue;
    if (!mFactories[i]) {
      nsIGenericFactory* factory = nullptr;
      nsresult rv = NS_NewGenericFactory(&factory, &info);
      NS_ENSURE_SUCCESS(rv, rv);
      mFactories[i] = already_AddRefed<nsIGenericFactory>(factory);
    }
    return mFactories[i]->QueryInterface(aIID, aResult);
  }
  return NS_ERROR_FACTORY_NOT_REGISTERED;
}

NS_IMETHODIMP GenericModule::RegisterSelf(nsIComponentManager* aCompMgr, nsIFile* aLocation,
                                          const char* aLoaderStr, const char* aType) {
  nsresult rv;
  nsCOMPtr<nsIComponentRegistrar> registrar = do_QueryInterface(aCompMgr, &rv);
  if (!registrar)
    return NS_FAILED(rv) ? rv : NS_ERROR_NO_INTERFACE;
  for (PRUint32 i = 0; i < mInfo->mCount; ++i) {
    const nsModuleComponentInfo& info = mInfo->mComponents[i];
    if (info.mConstructor) {
      rv = registrar->RegisterFactoryLocation(info.mCID, info.mDescription, info.mContractID,
                                              aLocation, aLoaderStr, aType);
      NS_ENSURE_SUCCESS(rv, rv);
    }
  }
  return NS_OK;
}

NS_IMETHODIMP GenericModule::UnregisterSelf(nsIComponentManager* aCompMgr, nsIFile* aLocation,
                                            const char*) {
  nsresult rv;
  nsCOMPtr<nsIComponentRegistrar> registrar = do_QueryInterface(aCompMgr, &rv);
  if (!registrar)
    return NS_FAILED(rv) ? rv : NS_ERROR_NO_INTERFACE;
  for (PRUint32 i = 0; i < mInfo->mCount; ++i) {
    const nsModuleComponentInfo& info = mInfo->mComponents[i];
    if (info.mConstructor)
      registrar->UnregisterFactoryLocation(info.mCID, aLocation);
  }
  return NS_OK;
}

// Bundles stay loaded until the runtime shuts down.
NS_IMETHODIMP GenericModule::CanUnload(nsIComponentManager*, PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = PR_FALSE;
  return NS_OK;
}

} // namespace xpcom

namespace {

// This runtime runs no module or component hooks; a bundle that relies on them is refused
// rather than served without them.
bool HasHooks(const nsModuleInfo& aInfo) {
  if (aInfo.mCtor || aInfo.mDtor)
    return true;
  for (PRUint32 i = 0; i < aInfo.mCount; ++i) {
    const nsModuleComponentInfo& c = aInfo.mComponents[i];
    if (c.mRegisterSelfProc || c.mUnregisterSelfProc || c.mFactoryDestructor)
      return true;
  }
  return false;
}

} // namespace

extern "C" {

nsresult NS_NewGenericFactory(nsIGenericFactory** result, const nsModuleComponentInfo* info) {
  NS_ENSURE_ARG_POINTER(result);
  auto* factory = new (std::nothrow) xpcom::GenericFactory();
  if (!factory) {
    *result = nullptr;
    return NS_ERROR_OUT_OF_MEMORY;
  }
  factory->SetComponentInfo(info);
  factory->AddRef();
  *result = factory;
  return NS_OK;
}

nsresult NS_NewGenericModule2(const nsModuleInfo* info, nsIModule** result) {
  NS_ENSURE_ARG_POINTER(result);
  *result = nullptr;
  NS_ENSURE_ARG_POINTER(info);
  if (info->mVersion != NS_MODULEINFO_VERSION || (info->mCount && !info->mComponents) ||
      HasHooks(*info))
    return NS_ERROR_INVALID_ARG;
  auto* module = new (std::nothrow) xpcom::GenericModule(info);
  if (!module)
    return NS_ERROR_OUT_OF_MEMORY;
  module->AddRef();
  *result = module;
  return NS_OK;
}
}
