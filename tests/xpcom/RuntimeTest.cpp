// The component manager with factories the host registers itself.
#include "Counted.h"
#include "RuntimeFixture.h"

namespace {

const nsCID kFirstCID = {0x11111111, 0x2222, 0x3333, {0, 1, 2, 3, 4, 5, 6, 7}};
const nsCID kSecondCID = {0x11111111, 0x2222, 0x3333, {0, 1, 2, 3, 4, 5, 6, 8}};
const char kContract[] = "@test/prefs;1";

// The tally outlives the runtime: services still point at it until shutdown in TearDown.
class ManagerTest : public RuntimeTest {
protected:
  nsresult Register(const nsCID& aCID, int aValue, const char* aContract = kContract) {
    return mRegistrar->RegisterFactory(aCID, "Counted", aContract, new Counted(&tally, aValue));
  }
  Tally tally;
};

TEST_F(ManagerTest, ServiceIsMadeOnceAndReleasedAtShutdown) {
  ASSERT_EQ(Register(kFirstCID, 7), NS_OK);
  {
    nsCOMPtr<nsIFactory> first = do_GetService(kContract);
    nsCOMPtr<nsIFactory> second = do_GetService(kFirstCID);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(Counted::ValueOf(first), 7);
  }
  EXPECT_EQ(tally.made, 2) << "the factory and one service";
  EXPECT_EQ(tally.destroyed, 0) << "the cache keeps the service alive";

  // Instances are not services: each request makes a new one.
  nsCOMPtr<nsIFactory> instance;
  ASSERT_EQ(mComponents->CreateInstanceByContractID(kContract, nullptr, NS_GET_IID(nsIFactory),
                                                    getter_AddRefs(instance)),
            NS_OK);
  EXPECT_EQ(tally.made, 3);
  instance = nullptr;
  EXPECT_EQ(tally.destroyed, 1);

  Shutdown();
  EXPECT_EQ(tally.destroyed, 3) << "service and factory released";
}

TEST_F(ManagerTest, RegistrationErrorsAndAliases) {
  nsCOMPtr<nsIFactory> factory = new Counted(&tally, 1);
  ASSERT_EQ(mRegistrar->RegisterFactory(kFirstCID, "Counted", kContract, factory), NS_OK);
  nsCOMPtr<nsIFactory> other = new Counted(&tally, 2);
  EXPECT_EQ(mRegistrar->RegisterFactory(kFirstCID, "Again", "@test/again;1", other),
            NS_ERROR_FACTORY_EXISTS);
  PRBool registered = PR_FALSE;
  EXPECT_EQ(mRegistrar->IsContractIDRegistered("@test/again;1", &registered), NS_OK);
  EXPECT_FALSE(registered) << "a refused registration maps nothing";

  // A null factory adds a contract ID to a class that exists.
  EXPECT_EQ(mRegistrar->RegisterFactory(kFirstCID, nullptr, "@test/alias;1", nullptr), NS_OK);
  nsCOMPtr<nsIFactory> viaAlias = do_GetService("@test/alias;1");
  EXPECT_EQ(Counted::ValueOf(viaAlias), 1);
  EXPECT_EQ(mRegistrar->RegisterFactory(kSecondCID, nullptr, "@test/x;1", nullptr),
            NS_ERROR_FACTORY_NOT_REGISTERED);
}

TEST_F(ManagerTest, FailuresLeaveNullResultsAndRecursionIsRefused) {
  ASSERT_EQ(Register(kFirstCID, 1), NS_OK);
  void* result = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(mServices->GetServiceByContractID(kContract, NS_GET_IID(nsIComponentManager), &result),
            NS_ERROR_NO_INTERFACE);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(tally.made - tally.destroyed, 1) << "an object of the wrong kind is not kept";

  // A service asking for itself while being made is refused, not recursed.
  const char kSelf[] = "@test/self;1";
  nsCOMPtr<Counted> reentrant = new Counted(&tally, 3, kSelf);
  ASSERT_EQ(mRegistrar->RegisterFactory(kSecondCID, "Self", kSelf, reentrant), NS_OK);
  const int before = tally.made;
  nsCOMPtr<nsIFactory> self = do_GetService(kSelf);
  EXPECT_EQ(Counted::ValueOf(self), 3);
  EXPECT_EQ(reentrant->mReentryResult, NS_ERROR_NOT_AVAILABLE);
  EXPECT_EQ(tally.made, before + 1);
}

} // namespace
