// The runtime's one manager: classes and contract IDs, factories, cached services and loaded
// bundles, under the three faces nsIComponentManager, nsIServiceManager, nsIComponentRegistrar.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "BundleLoader.h"
#include "nsCOMPtr.h"
#include "nsIComponentManager.h"
#include "nsIComponentRegistrar.h"
#include "nsIFactory.h"
#include "nsIServiceManager.h"
#include "nsXPCOM.h"

namespace xpcom {

class ComponentManager final : public nsIComponentManager,
                               public nsIServiceManager,
                               public nsIComponentRegistrar {
public:
  ComponentManager() = default;

  NS_DECL_ISUPPORTS

  // nsIComponentManager
  NS_IMETHOD GetClassObject(const nsCID& aClass, const nsIID& aIID, void** result) override;
  NS_IMETHOD GetClassObjectByContractID(const char* aContractID, const nsIID& aIID,
                                        void** result) override;
  NS_IMETHOD CreateInstance(const nsCID& aClass, nsISupports* aDelegate, const nsIID& aIID,
                            void** result) override;
  NS_IMETHOD CreateInstanceByContractID(const char* aContractID, nsISupports* aDelegate,
                                        const nsIID& aIID, void** result) override;

  // nsIServiceManager
  NS_IMETHOD GetService(const nsCID& aClass, const nsIID& aIID, void** result) override;
  NS_IMETHOD GetServiceByContractID(const char* aContractID, const nsIID& aIID,
                                    void** result) override;
  NS_IMETHOD IsServiceInstantiated(const nsCID& aClass, const nsIID& aIID,
                                   PRBool* _retval) override;
  NS_IMETHOD IsServiceInstantiatedByContractID(const char* aContractID, const nsIID& aIID,
                                               PRBool* _retval) override;

  // nsIComponentRegistrar
  NS_IMETHOD AutoRegister(nsIFile* aSpec) override;
  NS_IMETHOD AutoUnregister(nsIFile* aSpec) override;
  NS_IMETHOD RegisterFactory(const nsCID& aClass, const char* aClassName, const char* aContractID,
                             nsIFactory* aFactory) override;
  NS_IMETHOD UnregisterFactory(const nsCID& aClass, nsIFactory* aFactory) override;
  NS_IMETHOD RegisterFactoryLocation(const nsCID& aClass, const char* aClassName,
                                     const char* aContractID, nsIFile* aFile,
                                     const char* aLoaderStr, const char* aType) override;
  NS_IMETHOD UnregisterFactoryLocation(const nsCID& aClass, nsIFile* aFile) override;
  NS_IMETHOD IsCIDRegistered(const nsCID& aClass, PRBool* _retval) override;
  NS_IMETHOD IsContractIDRegistered(const char* aContractID, PRBool* _retval) override;
  NS_IMETHOD EnumerateCIDs(nsISimpleEnumerator** _retval) override;
  NS_IMETHOD EnumerateContractIDs(nsISimpleEnumerator** _retval) override;
  NS_IMETHOD CIDToContractID(const nsCID& aClass, char** _retval) override;
  NS_IMETHOD ContractIDToCID(const char* aContractID, nsCID** _retval) override;

  // Releases services (newest first), factories and modules, then unloads the bundles.
  void Shutdown();
  nsresult Visit(nsRegisteredComponentVisitor aVisitor, void* aClosure);
  // The text behind the last failed AutoRegister of a bundle; empty after a success.
  const std::string& LastLoaderError() const { return mLastLoaderError; }

private:
  struct Entry {
    nsCID cid;
    std::string className;
    std::string contractID; // the newest contract ID mapped to this class
    std::string moduleName;
    std::string location; // bundle path; empty for a factory the host registered
    nsCOMPtr<nsIFactory> factory;
    nsCOMPtr<nsIModule> module;
    nsCOMPtr<nsISupports> service;
    bool creatingService = false;
  };

  ~ComponentManager() = default;

  Entry* Find(const nsCID& aClass);
  nsresult CIDForContract(const char* aContractID, nsCID& aOut);
  Entry* AddEntry(const nsCID& aClass, const char* aClassName, const char* aContractID);
  void Retire(Entry* aEntry);
  void MapContract(Entry* aEntry, const char* aContractID);
  nsresult FactoryFor(const nsCID& aClass, nsIFactory** aResult);
  nsresult LoadBundle(const std::string& aPath, nsIFile* aLocation, LoadedBundle*& aBundle);
  nsresult RegisterBundle(const std::string& aPath, nsIFile* aSpec);
  LoadedBundle* FindBundle(const std::string& aPath);
  nsIComponentManager* AsManager() { return static_cast<nsIComponentManager*>(this); }

  std::recursive_mutex mLock;
  std::vector<std::unique_ptr<Entry>> mEntries;
  // Replaced or unregistered classes, kept until shutdown: a caller may still hold their
  // factories, and their bundle's code must stay mapped while it does.
  std::vector<std::unique_ptr<Entry>> mRetired;
  std::map<std::string, nsCID> mContracts;
  std::vector<Entry*> mServiceOrder;
  std::vector<LoadedBundle> mBundles;
  std::string mLastLoaderError;
  // Set while a module registers itself, so its classes are tied to it and its name.
  struct Registering {
    nsIModule* module = nullptr;
    std::string path;
    std::string moduleName;
  } mRegistering;
  bool mShutDown = false;
};

} // namespace xpcom
