// The component manager with factories the host registers itself.
#include <string>
#include <vector>

#include "nsIFactory.h"
#include "nsIPrefBranch.h"
#include "nsServiceManagerUtils.h"
#include "runtime_fixture.h"

namespace {

const nsCID kFirstCID = {0x11111111, 0x2222, 0x3333, {0, 1, 2, 3, 4, 5, 6, 7}};
const nsCID kSecondCID = {0x11111111, 0x2222, 0x3333, {0, 1, 2, 3, 4, 5, 6, 8}};
const char kContract[] = "@test/prefs;1";

struct Tally {
  int made = 0;
  int destroyed = 0;
  int factoryGone = 0;
};

// A stand-in preferences object: enough of nsIPrefBranch to be told apart and counted.
class Prefs final : public nsIPrefBranch {
public:
  Prefs(Tally& aTally, PRInt32 aValue) : mTally(aTally), mValue(aValue) { ++mTally.made; }

  NS_IMETHOD QueryInterface(REFNSIID aIID, void** aResult) override {
    if (aIID.Equals(NS_GET_IID(nsIPrefBranch)) || aIID.Equals(NS_GET_IID(nsISupports))) {
      *aResult = static_cast<nsIPrefBranch*>(this);
      AddRef();
      return NS_OK;
    }
    *aResult = nullptr;
    return NS_ERROR_NO_INTERFACE;
  }
  NS_IMETHOD_(nsrefcnt) AddRef() override { return ++mCount; }
  NS_IMETHOD_(nsrefcnt) Release() override {
    if (--mCount)
      return mCount;
    ++mTally.destroyed;
    delete this;
    return 0;
  }
  NS_IMETHOD GetIntPref(const char*, PRInt32* aValue) override {
    *aValue = mValue;
    return NS_OK;
  }
  NS_IMETHOD GetRoot(char**) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD GetPrefType(const char*, PRInt32*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD GetBoolPref(const char*, PRBool*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD SetBoolPref(const char*, PRInt32) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD GetCharPref(const char*, char**) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD SetCharPref(const char*, const char*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD SetIntPref(const char*, PRInt32) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD GetComplexValue(const char*, const nsIID&, void**) override {
    return NS_ERROR_NOT_IMPLEMENTED;
  }
  NS_IMETHOD SetComplexValue(const char*, const nsIID&, nsISupports*) override {
    return NS_ERROR_NOT_IMPLEMENTED;
  }
  NS_IMETHOD ClearUserPref(const char*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD LockPref(const char*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD PrefHasUserValue(const char*, PRBool*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD PrefIsLocked(const char*, PRBool*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD UnlockPref(const char*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD DeleteBranch(const char*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD GetChildList(const char*, PRUint32*, char***) override {
    return NS_ERROR_NOT_IMPLEMENTED;
  }
  NS_IMETHOD ResetBranch(const char*) override { return NS_ERROR_NOT_IMPLEMENTED; }

private:
  ~Prefs() = default;
  Tally& mTally;
  PRInt32 mValue;
  nsrefcnt mCount = 0;
};

// Makes Prefs objects; optionally asks for its own service while doing so.
class PrefsFactory final : public nsIFactory {
public:
  PrefsFactory(Tally& aTally, PRInt32 aValue, bool aReenter = false)
      : mTally(aTally), mValue(aValue), mReenter(aReenter) {}

  NS_IMETHOD QueryInterface(REFNSIID aIID, void** aResult) override {
    if (aIID.Equals(NS_GET_IID(nsIFactory)) || aIID.Equals(NS_GET_IID(nsISupports))) {
      *aResult = static_cast<nsIFactory*>(this);
      AddRef();
      return NS_OK;
    }
    *aResult = nullptr;
    return NS_ERROR_NO_INTERFACE;
  }
  NS_IMETHOD_(nsrefcnt) AddRef() override { return ++mCount; }
  NS_IMETHOD_(nsrefcnt) Release() override {
    if (--mCount)
      return mCount;
    ++mTally.factoryGone;
    delete this;
    return 0;
  }
  NS_IMETHOD CreateInstance(nsISupports* aOuter, const nsIID& aIID, void** aResult) override {
    *aResult = nullptr;
    if (aOuter)
      return NS_ERROR_NO_AGGREGATION;
    if (mReenter) {
      nsresult rv;
      nsCOMPtr<nsIPrefBranch> self = do_GetService(kContract, &rv);
      mReentryResult = rv;
    }
    nsCOMPtr<nsIPrefBranch> prefs = new Prefs(mTally, mValue);
    return prefs->QueryInterface(aIID, aResult);
  }
  NS_IMETHOD LockFactory(PRBool) override { return NS_OK; }

  nsresult mReentryResult = NS_OK;

private:
  ~PrefsFactory() = default;
  Tally& mTally;
  PRInt32 mValue;
  bool mReenter;
  nsrefcnt mCount = 0;
};

// The tally outlives the runtime: services still point at it until shutdown in TearDown.
class ManagerTest : public RuntimeTest {
protected:
  Tally tally;
};

PRInt32 ValueOf(nsIPrefBranch* aBranch) {
  PRInt32 value = -1;
  aBranch->GetIntPref("any", &value);
  return value;
}

TEST(RuntimeLifecycle, RefusesUseOutsideItsLife) {
  nsIServiceManager* manager = reinterpret_cast<nsIServiceManager*>(0x1);
  EXPECT_EQ(NS_GetServiceManager(&manager), NS_ERROR_NOT_INITIALIZED);
  EXPECT_EQ(manager, nullptr);
  EXPECT_EQ(NS_ShutdownXPCOM(nullptr), NS_ERROR_NOT_INITIALIZED);

  ASSERT_EQ(NS_InitXPCOM2(nullptr, nullptr, nullptr), NS_OK);
  EXPECT_EQ(NS_InitXPCOM2(nullptr, nullptr, nullptr), NS_ERROR_ALREADY_INITIALIZED);
  nsresult rv;
  nsCOMPtr<nsIPrefBranch> missing = do_GetService("@test/none;1", &rv);
  EXPECT_EQ(rv, NS_ERROR_FACTORY_NOT_REGISTERED);
  EXPECT_EQ(missing.get(), nullptr);
  EXPECT_EQ(NS_ShutdownXPCOM(nullptr), NS_OK);
  EXPECT_EQ(NS_ShutdownXPCOM(nullptr), NS_ERROR_NOT_INITIALIZED);
}

TEST_F(ManagerTest, OneManagerAnswersAllThreeFaces) {
  nsCOMPtr<nsIComponentRegistrar> registrar = do_QueryInterface(mServices);
  nsCOMPtr<nsIComponentManager> components = do_QueryInterface(registrar);
  ASSERT_TRUE(registrar && components);
  EXPECT_EQ(registrar.get(), mRegistrar.get());
  EXPECT_EQ(components.get(), mComponents.get());
  nsCOMPtr<nsISupports> a = do_QueryInterface(mServices);
  nsCOMPtr<nsISupports> b = do_QueryInterface(mRegistrar);
  EXPECT_EQ(a.get(), b.get()) << "one identity whichever face is asked";
}

TEST_F(ManagerTest, ServiceIsMadeOnceAndReleasedAtShutdown) {
  ASSERT_EQ(mRegistrar->RegisterFactory(kFirstCID, "Prefs", kContract, new PrefsFactory(tally, 7)),
            NS_OK);
  PRBool instantiated = PR_TRUE;
  EXPECT_EQ(mServices->IsServiceInstantiatedByContractID(kContract, NS_GET_IID(nsIPrefBranch),
                                                         &instantiated),
            NS_ERROR_SERVICE_NOT_AVAILABLE);
  EXPECT_FALSE(instantiated);
  {
    nsresult rv;
    nsCOMPtr<nsIPrefBranch> first = do_GetService(kContract, &rv);
    ASSERT_EQ(rv, NS_OK);
    nsCOMPtr<nsIPrefBranch> second = do_GetService(kFirstCID, &rv);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(ValueOf(first), 7);
  }
  EXPECT_EQ(tally.made, 1);
  EXPECT_EQ(tally.destroyed, 0) << "the cache keeps the service alive";
  EXPECT_EQ(mServices->IsServiceInstantiated(kFirstCID, NS_GET_IID(nsIPrefBranch), &instantiated),
            NS_OK);
  EXPECT_TRUE(instantiated);

  // Instances are not services: each request makes a new one.
  nsCOMPtr<nsIPrefBranch> instance;
  ASSERT_EQ(mComponents->CreateInstanceByContractID(kContract, nullptr, NS_GET_IID(nsIPrefBranch),
                                                    getter_AddRefs(instance)),
            NS_OK);
  EXPECT_EQ(tally.made, 2);
  instance = nullptr;
  EXPECT_EQ(tally.destroyed, 1);

  Shutdown();
  EXPECT_EQ(tally.destroyed, 2);
  EXPECT_EQ(tally.factoryGone, 1);
}

TEST_F(ManagerTest, LaterContractRegistrationWins) {
  ASSERT_EQ(mRegistrar->RegisterFactory(kFirstCID, "Old", kContract, new PrefsFactory(tally, 1)),
            NS_OK);
  ASSERT_EQ(mRegistrar->RegisterFactory(kSecondCID, "New", kContract, new PrefsFactory(tally, 2)),
            NS_OK);
  nsCOMPtr<nsIPrefBranch> prefs = do_GetService(kContract);
  ASSERT_TRUE(prefs);
  EXPECT_EQ(ValueOf(prefs), 2);

  nsCID* cid = nullptr;
  ASSERT_EQ(mRegistrar->ContractIDToCID(kContract, &cid), NS_OK);
  EXPECT_TRUE(cid->Equals(kSecondCID));
  NS_Free(cid);
  char* contract = nullptr;
  ASSERT_EQ(mRegistrar->CIDToContractID(kSecondCID, &contract), NS_OK);
  EXPECT_STREQ(contract, kContract);
  NS_Free(contract);

  // The first class is still there under its ID.
  nsCOMPtr<nsIPrefBranch> old = do_GetService(kFirstCID);
  ASSERT_TRUE(old);
  EXPECT_EQ(ValueOf(old), 1);
}

TEST_F(ManagerTest, RegistrationErrorsAndUnregistering) {
  nsCOMPtr<nsIFactory> factory = new PrefsFactory(tally, 1);
  ASSERT_EQ(mRegistrar->RegisterFactory(kFirstCID, "Prefs", kContract, factory), NS_OK);
  nsCOMPtr<nsIFactory> other = new PrefsFactory(tally, 2);
  EXPECT_EQ(mRegistrar->RegisterFactory(kFirstCID, "Again", "@test/again;1", other),
            NS_ERROR_FACTORY_EXISTS);
  PRBool registered = PR_FALSE;
  EXPECT_EQ(mRegistrar->IsContractIDRegistered("@test/again;1", &registered), NS_OK);
  EXPECT_FALSE(registered) << "a refused registration maps nothing";

  // A null factory adds a contract ID to a class that exists.
  EXPECT_EQ(mRegistrar->RegisterFactory(kFirstCID, nullptr, "@test/alias;1", nullptr), NS_OK);
  nsCOMPtr<nsIPrefBranch> viaAlias = do_GetService("@test/alias;1");
  EXPECT_TRUE(viaAlias);
  EXPECT_EQ(mRegistrar->RegisterFactory(kSecondCID, nullptr, "@test/x;1", nullptr),
            NS_ERROR_FACTORY_NOT_REGISTERED);

  EXPECT_EQ(mRegistrar->UnregisterFactory(kFirstCID, other), NS_ERROR_FACTORY_NOT_REGISTERED)
      << "only the registered factory may unregister";
  EXPECT_EQ(mRegistrar->UnregisterFactory(kFirstCID, factory), NS_OK);
  EXPECT_EQ(mRegistrar->IsCIDRegistered(kFirstCID, &registered), NS_OK);
  EXPECT_FALSE(registered);
  EXPECT_EQ(mRegistrar->IsContractIDRegistered(kContract, &registered), NS_OK);
  EXPECT_FALSE(registered);
  void* result = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(mComponents->CreateInstance(kFirstCID, nullptr, NS_GET_IID(nsISupports), &result),
            NS_ERROR_FACTORY_NOT_REGISTERED);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(viaAlias.get() != nullptr, true) << "what callers hold stays valid";
}

TEST_F(ManagerTest, FailuresLeaveNullResults) {
  ASSERT_EQ(mRegistrar->RegisterFactory(kFirstCID, "Prefs", kContract, new PrefsFactory(tally, 1)),
            NS_OK);
  void* result = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(mServices->GetServiceByContractID(kContract, NS_GET_IID(nsIComponentManager), &result),
            NS_ERROR_NO_INTERFACE);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(tally.destroyed, tally.made) << "an object of the wrong kind is not kept";

  nsCOMPtr<nsISupports> outer = new Prefs(tally, 0);
  result = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(mComponents->CreateInstance(kFirstCID, outer, NS_GET_IID(nsISupports), &result),
            NS_ERROR_NO_AGGREGATION);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(mServices->GetServiceByContractID(nullptr, NS_GET_IID(nsISupports), &result),
            NS_ERROR_NULL_POINTER);
}

TEST_F(ManagerTest, ServiceAskingForItselfIsRefusedNotRecursed) {
  auto* factory = new PrefsFactory(tally, 3, /*aReenter=*/true);
  nsCOMPtr<nsIFactory> hold(factory);
  ASSERT_EQ(mRegistrar->RegisterFactory(kFirstCID, "Prefs", kContract, factory), NS_OK);
  nsCOMPtr<nsIPrefBranch> prefs = do_GetService(kContract);
  ASSERT_TRUE(prefs);
  EXPECT_EQ(factory->mReentryResult, NS_ERROR_NOT_AVAILABLE);
  EXPECT_EQ(tally.made, 1);
}

TEST_F(ManagerTest, VisitorListsWhatIsRegistered) {
  ASSERT_EQ(mRegistrar->RegisterFactory(kFirstCID, "Prefs", kContract, new PrefsFactory(tally, 1)),
            NS_OK);
  std::vector<std::string> seen;
  ASSERT_EQ(NS_VisitRegisteredComponents(
                [](const nsRegisteredComponentInfo* info, void* closure) {
                  auto* list = static_cast<std::vector<std::string>*>(closure);
                  list->push_back(std::string(info->className) + " " + info->contractID + " " +
                                  (info->location ? info->location : "(host)"));
                },
                &seen),
            NS_OK);
  EXPECT_EQ(seen, std::vector<std::string>{"Prefs @test/prefs;1 (host)"});
}

} // namespace
