#include "ComponentManager.h"

#include <algorithm>

#include "GenericModule.h"
#include "nsILocalFile.h"
#include "nsStringAPI.h"
#include "plstr.h"

namespace xpcom {

namespace {

const char kNativeLoaderType[] = "application/x-mozilla-native";

std::string PathOf(nsIFile* aFile) {
  nsCString path;
  if (!aFile || NS_FAILED(aFile->GetNativePath(path)))
    return std::string();
  return std::string(path.get(), path.Length());
}

} // namespace

// The runtime is shared by every thread of the host, so its objects count atomically.
NS_IMPL_THREADSAFE_ISUPPORTS3(ComponentManager, nsIComponentManager, nsIServiceManager,
                              nsIComponentRegistrar)

ComponentManager::Entry* ComponentManager::Find(const nsCID& aClass) {
  for (auto& entry : mEntries)
    if (entry->cid.Equals(aClass))
      return entry.get();
  return nullptr;
}

nsresult ComponentManager::CIDForContract(const char* aContractID, nsCID& aOut) {
  NS_ENSURE_ARG_POINTER(aContractID);
  auto it = mContracts.find(aContractID);
  if (it == mContracts.end())
    return NS_ERROR_FACTORY_NOT_REGISTERED;
  aOut = it->second;
  return NS_OK;
}

ComponentManager::Entry* ComponentManager::AddEntry(const nsCID& aClass, const char* aClassName,
                                                    const char* aContractID) {
  auto entry = std::make_unique<Entry>();
  entry->cid = aClass;
  if (aClassName)
    entry->className = aClassName;
  Entry* raw = entry.get();
  mEntries.push_back(std::move(entry));
  MapContract(raw, aContractID);
  return raw;
}

// A later registration of a contract ID replaces the earlier mapping.
void ComponentManager::MapContract(Entry* aEntry, const char* aContractID) {
  if (!aContractID || !*aContractID)
    return;
  mContracts[aContractID] = aEntry->cid;
  aEntry->contractID = aContractID;
}

void ComponentManager::Retire(Entry* aEntry) {
  auto it = std::find_if(mEntries.begin(), mEntries.end(),
                         [aEntry](const auto& entry) { return entry.get() == aEntry; });
  if (it == mEntries.end())
    return;
  mRetired.push_back(std::move(*it));
  mEntries.erase(it);
}

LoadedBundle* ComponentManager::FindBundle(const std::string& aPath) {
  for (auto& bundle : mBundles)
    if (bundle.path == aPath)
      return &bundle;
  return nullptr;
}

// The bundle at aPath, loaded now unless it already is; aLocation, when null, is made from aPath.
nsresult ComponentManager::LoadBundle(const std::string& aPath, nsIFile* aLocation,
                                      LoadedBundle*& aBundle) {
  aBundle = FindBundle(aPath);
  if (aBundle)
    return NS_OK;
  nsCOMPtr<nsIFile> location = aLocation;
  if (!location) {
    nsCOMPtr<nsILocalFile> file;
    nsresult rv = NS_NewNativeLocalFile(nsCString(aPath.c_str()), PR_TRUE, getter_AddRefs(file));
    NS_ENSURE_SUCCESS(rv, rv);
    location = file.get();
  }
  LoadedBundle loaded;
  nsresult rv = OpenBundle(aPath, AsManager(), location, loaded, mLastLoaderError);
  NS_ENSURE_SUCCESS(rv, rv);
  mBundles.push_back(std::move(loaded));
  aBundle = &mBundles.back();
  return NS_OK;
}

nsresult ComponentManager::FactoryFor(const nsCID& aClass, nsIFactory** aResult) {
  *aResult = nullptr;
  Entry* entry = Find(aClass);
  if (!entry)
    return NS_ERROR_FACTORY_NOT_REGISTERED;
  if (!entry->factory) {
    if (!entry->module) {
      // Registered by location without the bundle being loaded here: load it now.
      LoadedBundle* bundle = nullptr;
      nsresult rv = LoadBundle(entry->location, nullptr, bundle);
      NS_ENSURE_SUCCESS(rv, rv);
      entry->module = bundle->module;
    }
    nsIFactory* factory = nullptr;
    nsresult rv = entry->module->GetClassObject(AsManager(), entry->cid, NS_GET_IID(nsIFactory),
                                                reinterpret_cast<void**>(&factory));
    NS_ENSURE_SUCCESS(rv, rv);
    if (!factory)
      return NS_ERROR_FACTORY_NOT_LOADED;
    entry->factory = already_AddRefed<nsIFactory>(factory);
  }
  return entry->factory.CopyTo(aResult);
}

NS_IMETHODIMP ComponentManager::GetClassObject(const nsCID& aClass, const nsIID& aIID,
                                               void** result) {
  NS_ENSURE_ARG_POINTER(result);
  *result = nullptr;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  nsCOMPtr<nsIFactory> factory;
  nsresult rv = FactoryFor(aClass, getter_AddRefs(factory));
  NS_ENSURE_SUCCESS(rv, rv);
  return factory->QueryInterface(aIID, result);
}

NS_IMETHODIMP ComponentManager::GetClassObjectByContractID(const char* aContractID,
                                                           const nsIID& aIID, void** result) {
  NS_ENSURE_ARG_POINTER(result);
  *result = nullptr;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  nsCID cid;
  nsresult rv = CIDForContract(aContractID, cid);
  return NS_FAILED(rv) ? rv : GetClassObject(cid, aIID, result);
}

NS_IMETHODIMP ComponentManager::CreateInstance(const nsCID& aClass, nsISupports* aDelegate,
                                               const nsIID& aIID, void** result) {
  NS_ENSURE_ARG_POINTER(result);
  *result = nullptr;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  nsCOMPtr<nsIFactory> factory;
  nsresult rv = FactoryFor(aClass, getter_AddRefs(factory));
  NS_ENSURE_SUCCESS(rv, rv);
  rv = factory->CreateInstance(aDelegate, aIID, result);
  if (NS_SUCCEEDED(rv) && !*result)
    rv = NS_ERROR_FACTORY_NOT_LOADED;
  return rv;
}

NS_IMETHODIMP ComponentManager::CreateInstanceByContractID(const char* aContractID,
                                                           nsISupports* aDelegate,
                                                           const nsIID& aIID, void** result) {
  NS_ENSURE_ARG_POINTER(result);
  *result = nullptr;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  nsCID cid;
  nsresult rv = CIDForContract(aContractID, cid);
  return NS_FAILED(rv) ? rv : CreateInstance(cid, aDelegate, aIID, result);
}

NS_IMETHODIMP ComponentManager::GetService(const nsCID& aClass, const nsIID& aIID, void** result) {
  NS_ENSURE_ARG_POINTER(result);
  *result = nullptr;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  if (mShutDown)
    return NS_ERROR_UNEXPECTED;
  Entry* entry = Find(aClass);
  if (!entry)
    return NS_ERROR_FACTORY_NOT_REGISTERED;
  if (entry->service)
    return entry->service->QueryInterface(aIID, result);
  // A service whose construction asks for itself would otherwise recurse without end.
  if (entry->creatingService)
    return NS_ERROR_NOT_AVAILABLE;
  entry->creatingService = true;
  void* instance = nullptr;
  nsresult rv = CreateInstance(aClass, nullptr, aIID, &instance);
  entry->creatingService = false;
  NS_ENSURE_SUCCESS(rv, rv);
  // Every interface pointer is also an nsISupports pointer; the cache keeps one reference.
  entry->service = static_cast<nsISupports*>(instance);
  mServiceOrder.push_back(entry);
  *result = instance;
  return NS_OK;
}

NS_IMETHODIMP ComponentManager::GetServiceByContractID(const char* aContractID, const nsIID& aIID,
                                                       void** result) {
  NS_ENSURE_ARG_POINTER(result);
  *result = nullptr;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  nsCID cid;
  nsresult rv = CIDForContract(aContractID, cid);
  return NS_FAILED(rv) ? rv : GetService(cid, aIID, result);
}

NS_IMETHODIMP ComponentManager::IsServiceInstantiated(const nsCID& aClass, const nsIID& aIID,
                                                      PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = PR_FALSE;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  Entry* entry = Find(aClass);
  if (!entry || !entry->service)
    return NS_ERROR_SERVICE_NOT_AVAILABLE;
  nsCOMPtr<nsISupports> face;
  nsresult rv = entry->service->QueryInterface(aIID, getter_AddRefs(face));
  *_retval = NS_SUCCEEDED(rv) ? PR_TRUE : PR_FALSE;
  return rv;
}

NS_IMETHODIMP ComponentManager::IsServiceInstantiatedByContractID(const char* aContractID,
                                                                  const nsIID& aIID,
                                                                  PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = PR_FALSE;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  nsCID cid;
  nsresult rv = CIDForContract(aContractID, cid);
  return NS_FAILED(rv) ? NS_ERROR_SERVICE_NOT_AVAILABLE : IsServiceInstantiated(cid, aIID, _retval);
}

nsresult ComponentManager::RegisterBundle(const std::string& aPath, nsIFile* aSpec) {
  LoadedBundle* bundle = nullptr;
  if (nsresult rv = LoadBundle(aPath, aSpec, bundle); NS_FAILED(rv))
    return rv;
  nsCOMPtr<nsIModule> module = bundle->module;
  Registering saved = mRegistering;
  mRegistering.module = module;
  mRegistering.path = aPath;
  mRegistering.moduleName.clear();
  nsCOMPtr<nsISupports> generic;
  if (NS_SUCCEEDED(module->QueryInterface(NS_GET_IID(GenericModule), getter_AddRefs(generic))) &&
      generic) {
    const char* name =
        static_cast<GenericModule*>(static_cast<nsIModule*>(generic.get()))->ModuleName();
    mRegistering.moduleName = name ? name : "";
  }
  nsresult rv = module->RegisterSelf(AsManager(), aSpec, aPath.c_str(), kNativeLoaderType);
  mRegistering = saved;
  if (NS_FAILED(rv)) {
    char code[16];
    snprintf(code, sizeof code, "0x%08X", unsigned(rv));
    mLastLoaderError = aPath + ": module registration failed (" + code + ")";
    return rv;
  }
  mLastLoaderError.clear();
  return NS_OK;
}

NS_IMETHODIMP ComponentManager::AutoRegister(nsIFile* aSpec) {
  std::lock_guard<std::recursive_mutex> lock(mLock);
  if (!aSpec) {
    mLastLoaderError = "no bundle given";
    return NS_ERROR_INVALID_ARG;
  }
  return RegisterBundle(PathOf(aSpec), aSpec);
}

NS_IMETHODIMP ComponentManager::AutoUnregister(nsIFile* aSpec) {
  std::lock_guard<std::recursive_mutex> lock(mLock);
  if (!aSpec)
    return NS_ERROR_INVALID_ARG;
  std::string path = PathOf(aSpec);
  LoadedBundle* bundle = FindBundle(path);
  if (!bundle)
    return NS_ERROR_FACTORY_NOT_REGISTERED;
  nsCOMPtr<nsIModule> module = bundle->module;
  return module->UnregisterSelf(AsManager(), aSpec, path.c_str());
}

NS_IMETHODIMP ComponentManager::RegisterFactory(const nsCID& aClass, const char* aClassName,
                                                const char* aContractID, nsIFactory* aFactory) {
  std::lock_guard<std::recursive_mutex> lock(mLock);
  Entry* existing = Find(aClass);
  if (!aFactory) {
    // No factory: an extra contract ID for a class that is already registered.
    if (!existing)
      return NS_ERROR_FACTORY_NOT_REGISTERED;
    MapContract(existing, aContractID);
    return NS_OK;
  }
  if (existing)
    return NS_ERROR_FACTORY_EXISTS;
  Entry* entry = AddEntry(aClass, aClassName, aContractID);
  entry->factory = aFactory;
  return NS_OK;
}

NS_IMETHODIMP ComponentManager::UnregisterFactory(const nsCID& aClass, nsIFactory* aFactory) {
  std::lock_guard<std::recursive_mutex> lock(mLock);
  Entry* entry = Find(aClass);
  if (!entry || entry->factory.get() != aFactory || !entry->location.empty())
    return NS_ERROR_FACTORY_NOT_REGISTERED;
  for (auto it = mContracts.begin(); it != mContracts.end();)
    it = it->second.Equals(aClass) ? mContracts.erase(it) : std::next(it);
  Retire(entry);
  return NS_OK;
}

// Registering a class by location replaces any earlier registration of the same class ID:
// that is how a bundle takes over a class the host itself provides.
NS_IMETHODIMP ComponentManager::RegisterFactoryLocation(const nsCID& aClass, const char* aClassName,
                                                        const char* aContractID, nsIFile* aFile,
                                                        const char*, const char*) {
  std::lock_guard<std::recursive_mutex> lock(mLock);
  if (!aFile)
    return NS_ERROR_INVALID_ARG;
  std::string path = PathOf(aFile);
  if (path.empty())
    return NS_ERROR_FILE_UNRECOGNIZED_PATH;
  if (Entry* existing = Find(aClass))
    Retire(existing);
  Entry* entry = AddEntry(aClass, aClassName, aContractID);
  entry->location = path;
  if (mRegistering.module && mRegistering.path == path) {
    entry->module = mRegistering.module;
    entry->moduleName = mRegistering.moduleName;
  } else if (LoadedBundle* bundle = FindBundle(path)) {
    entry->module = bundle->module;
  }
  return NS_OK;
}

NS_IMETHODIMP ComponentManager::UnregisterFactoryLocation(const nsCID& aClass, nsIFile* aFile) {
  std::lock_guard<std::recursive_mutex> lock(mLock);
  Entry* entry = Find(aClass);
  if (!entry || entry->location.empty() || entry->location != PathOf(aFile))
    return NS_ERROR_FACTORY_NOT_REGISTERED;
  for (auto it = mContracts.begin(); it != mContracts.end();)
    it = it->second.Equals(aClass) ? mContracts.erase(it) : std::next(it);
  Retire(entry);
  return NS_OK;
}

NS_IMETHODIMP ComponentManager::IsCIDRegistered(const nsCID& aClass, PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  std::lock_guard<std::recursive_mutex> lock(mLock);
  *_retval = Find(aClass) ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP ComponentManager::IsContractIDRegistered(const char* aContractID, PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  NS_ENSURE_ARG_POINTER(aContractID);
  std::lock_guard<std::recursive_mutex> lock(mLock);
  nsCID cid;
  *_retval = NS_SUCCEEDED(CIDForContract(aContractID, cid)) && Find(cid) ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

// Listing goes through NS_VisitRegisteredComponents; the enumerator types are not provided.
NS_IMETHODIMP ComponentManager::EnumerateCIDs(nsISimpleEnumerator** _retval) {
  if (_retval)
    *_retval = nullptr;
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP ComponentManager::EnumerateContractIDs(nsISimpleEnumerator** _retval) {
  if (_retval)
    *_retval = nullptr;
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP ComponentManager::CIDToContractID(const nsCID& aClass, char** _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = nullptr;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  Entry* entry = Find(aClass);
  if (!entry || entry->contractID.empty())
    return NS_ERROR_FACTORY_NOT_REGISTERED;
  *_retval = PL_strdup(entry->contractID.c_str());
  return *_retval ? NS_OK : NS_ERROR_OUT_OF_MEMORY;
}

NS_IMETHODIMP ComponentManager::ContractIDToCID(const char* aContractID, nsCID** _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = nullptr;
  std::lock_guard<std::recursive_mutex> lock(mLock);
  nsCID cid;
  nsresult rv = CIDForContract(aContractID, cid);
  NS_ENSURE_SUCCESS(rv, rv);
  *_retval = static_cast<nsCID*>(NS_Alloc(sizeof(nsCID)));
  if (!*_retval)
    return NS_ERROR_OUT_OF_MEMORY;
  **_retval = cid;
  return NS_OK;
}

void ComponentManager::Shutdown() {
  std::unique_lock<std::recursive_mutex> lock(mLock);
  mShutDown = true;
  // Move everything out first: releasing a service may call back into the manager.
  std::vector<Entry*> services;
  services.swap(mServiceOrder);
  for (auto it = services.rbegin(); it != services.rend(); ++it) {
    nsCOMPtr<nsISupports> service;
    service.swap((*it)->service);
    service = nullptr;
  }
  std::vector<std::unique_ptr<Entry>> entries;
  entries.swap(mEntries);
  for (auto& entry : mRetired)
    entries.push_back(std::move(entry));
  mRetired.clear();
  mContracts.clear();
  for (auto& entry : entries)
    entry->service = nullptr;
  for (auto& entry : entries) {
    entry->factory = nullptr;
    entry->module = nullptr;
  }
  entries.clear();
  std::vector<LoadedBundle> bundles;
  bundles.swap(mBundles);
  for (auto& bundle : bundles)
    bundle.module = nullptr;
  for (auto it = bundles.rbegin(); it != bundles.rend(); ++it)
    CloseBundle(*it);
}

nsresult ComponentManager::Visit(nsRegisteredComponentVisitor aVisitor, void* aClosure) {
  NS_ENSURE_ARG_POINTER(aVisitor);
  std::lock_guard<std::recursive_mutex> lock(mLock);
  for (auto& entry : mEntries) {
    nsRegisteredComponentInfo info;
    info.cid = entry->cid;
    info.contractID = entry->contractID.empty() ? nullptr : entry->contractID.c_str();
    info.className = entry->className.empty() ? nullptr : entry->className.c_str();
    info.moduleName = entry->moduleName.empty() ? nullptr : entry->moduleName.c_str();
    info.location = entry->location.empty() ? nullptr : entry->location.c_str();
    aVisitor(&info, aClosure);
  }
  return NS_OK;
}

} // namespace xpcom
