// Bundles loaded for real from the build's lib folder through AutoRegister, and the generic
// module driven directly.
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Counted.h"
#include "RuntimeFixture.h"
#include "TestEcho.h"
#include "nsComponentManagerUtils.h"
#include "nsIGenericFactory.h"
#include "nsILocalFile.h"
#include "nsServiceManagerUtils.h"

namespace {

namespace fs = std::filesystem;

std::string LibDir() {
  const char* build = getenv("QB_BUILD_DIR");
  return std::string(build ? build : ".") + "/lib";
}

nsCOMPtr<nsILocalFile> FileAt(const std::string& aPath) {
  nsCOMPtr<nsILocalFile> file;
  EXPECT_EQ(NS_NewNativeLocalFile(nsCString(aPath.c_str()), PR_TRUE, getter_AddRefs(file)), NS_OK);
  return file;
}

class BundleTest : public RuntimeTest {
protected:
  void SetUp() override {
    mScratch = fs::temp_directory_path() /
               ("xpcom-bundle-" + std::to_string(getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(mScratch);
    RuntimeTest::SetUp();
  }
  void TearDown() override {
    RuntimeTest::TearDown();
    fs::remove_all(mScratch);
  }
  nsresult Register(const std::string& aPath) { return mRegistrar->AutoRegister(FileAt(aPath)); }
  std::string Echo() const { return LibDir() + "/xpcom_echo_bundle.so"; }

  fs::path mScratch;
};

TEST_F(BundleTest, RegistersAndServesTheBundlesClassAcrossTheStringBoundary) {
  ASSERT_EQ(Register(Echo()), NS_OK) << NS_GetLastLoaderError();
  EXPECT_STREQ(NS_GetLastLoaderError(), "");

  PRBool registered = PR_FALSE;
  mRegistrar->IsContractIDRegistered(TEST_ECHO_CONTRACTID, &registered);
  EXPECT_TRUE(registered);
  mRegistrar->IsContractIDRegistered(TEST_DATA_ONLY_CONTRACTID, &registered);
  EXPECT_FALSE(registered) << "a record without a constructor is not registered";

  nsresult rv;
  nsCOMPtr<nsITestEcho> echo = do_CreateInstance(TEST_ECHO_CONTRACTID, &rv);
  ASSERT_EQ(rv, NS_OK);
  ASSERT_TRUE(echo);

  // Strings made on one side are read and changed on the other through one implementation.
  nsCString out("previous contents");
  ASSERT_EQ(echo->Echo(nsCString("mailbox-message://a@b/Inbox#1"), out), NS_OK);
  EXPECT_STREQ(out.get(), "mailbox-message://a@b/Inbox#1|echo");
  ASSERT_EQ(echo->Greet(out), NS_OK);
  EXPECT_STREQ(out.get(), "hello from the bundle");
  EXPECT_EQ(out.Length(), 21u);
}

TEST_F(BundleTest, BundleTakesOverAClassTheHostRegistered) {
  // The host first serves the contract with a factory of its own under the bundle's class ID.
  const nsCID echoCID = TEST_ECHO_CID;
  nsCOMPtr<nsIGenericFactory> hostFactory;
  static nsModuleComponentInfo hostRecord{}; // the factory keeps pointing at it
  hostRecord.mDescription = "Host Echo";
  hostRecord.mCID = echoCID;
  hostRecord.mContractID = TEST_ECHO_CONTRACTID;
  ASSERT_EQ(NS_NewGenericFactory(getter_AddRefs(hostFactory), &hostRecord), NS_OK);
  ASSERT_EQ(mRegistrar->RegisterFactory(echoCID, "Host Echo", TEST_ECHO_CONTRACTID, hostFactory),
            NS_OK);
  nsCOMPtr<nsITestEcho> before = do_CreateInstance(TEST_ECHO_CONTRACTID);
  EXPECT_FALSE(before) << "the host's record has no constructor";

  ASSERT_EQ(Register(Echo()), NS_OK) << NS_GetLastLoaderError();
  nsCOMPtr<nsITestEcho> after = do_CreateInstance(TEST_ECHO_CONTRACTID);
  EXPECT_TRUE(after);
}

struct LoadFailure {
  const char* what;
  std::string path;
  nsresult expected;
  const char* textContains;
};

TEST_F(BundleTest, EachLoadFailureIsDistinctAndExplained) {
  std::string text = (mScratch / "notes.so").string();
  std::ofstream(text) << "this is not a shared library\n";
  std::string missing = (mScratch / "absent.so").string();

  const LoadFailure cases[] = {
      {"missing file", missing, NS_ERROR_FILE_NOT_FOUND, "no such file"},
      {"folder", mScratch.string(), NS_ERROR_FILE_IS_DIRECTORY, "is a directory, not a bundle"},
      {"text file", text, NS_ERROR_FILE_UNKNOWN_TYPE, "notes.so"},
      {"library without entry", LibDir() + "/xpcom_no_entry_bundle.so", NS_ERROR_FACTORY_NOT_LOADED,
       "no NSGetModule"},
      {"unknown record version", LibDir() + "/xpcom_future_bundle.so", NS_ERROR_INVALID_ARG,
       "NSGetModule failed (0x80070057)"},
  };
  for (const LoadFailure& c : cases) {
    EXPECT_EQ(Register(c.path), c.expected) << c.what;
    std::string why = NS_GetLastLoaderError();
    EXPECT_NE(why.find(c.textContains), std::string::npos) << c.what << ": " << why;
  }
  EXPECT_EQ(mRegistrar->AutoRegister(nullptr), NS_ERROR_INVALID_ARG);

  // A success afterwards clears the explanation.
  ASSERT_EQ(Register(Echo()), NS_OK);
  EXPECT_STREQ(NS_GetLastLoaderError(), "");
}

// The generic module without any bundle: records defined right here.
NS_GENERIC_FACTORY_CONSTRUCTOR(Counted)

TEST(GenericModule, AnswersOnlyForItsOwnClasses) {
  const nsCID known = {0xabcdef01, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}};
  const nsCID unknown = {0xabcdef01, 1, 2, {1, 2, 3, 4, 5, 6, 7, 9}};
  const nsModuleComponentInfo records[] = {{"Counted", known, "@test/counted;1", CountedConstructor,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                            0}};
  const nsModuleInfo info = {NS_MODULEINFO_VERSION, "CountedModule", records, 1, nullptr, nullptr};
  nsCOMPtr<nsIModule> module;
  ASSERT_EQ(NS_NewGenericModule2(&info, getter_AddRefs(module)), NS_OK);

  nsCOMPtr<nsIFactory> factory;
  EXPECT_EQ(
      module->GetClassObject(nullptr, unknown, NS_GET_IID(nsIFactory), getter_AddRefs(factory)),
      NS_ERROR_FACTORY_NOT_REGISTERED);
  EXPECT_FALSE(factory);
  ASSERT_EQ(module->GetClassObject(nullptr, known, NS_GET_IID(nsIFactory), getter_AddRefs(factory)),
            NS_OK);
  nsCOMPtr<nsIFactory> sameFactory;
  module->GetClassObject(nullptr, known, NS_GET_IID(nsIFactory), getter_AddRefs(sameFactory));
  EXPECT_EQ(factory.get(), sameFactory.get()) << "one factory per class";

  nsCOMPtr<nsISupports> made;
  EXPECT_EQ(factory->CreateInstance(nullptr, NS_GET_IID(nsISupports), getter_AddRefs(made)), NS_OK);
  EXPECT_TRUE(made);
  PRBool canUnload = PR_TRUE;
  EXPECT_EQ(module->CanUnload(nullptr, &canUnload), NS_OK);
  EXPECT_FALSE(canUnload);
}

TEST(GenericModule, RefusesBadRecords) {
  nsIModule* module = reinterpret_cast<nsIModule*>(0x1);
  nsModuleInfo info = {0x00010000, "Old", nullptr, 0, nullptr, nullptr};
  EXPECT_EQ(NS_NewGenericModule2(&info, &module), NS_ERROR_INVALID_ARG);
  EXPECT_EQ(module, nullptr);
  info.mVersion = NS_MODULEINFO_VERSION;
  info.mCount = 1; // components missing
  EXPECT_EQ(NS_NewGenericModule2(&info, &module), NS_ERROR_INVALID_ARG);
  // Hooks this runtime would not run are refused, not ignored.
  nsModuleComponentInfo record{};
  record.mFactoryDestructor = []() -> nsresult { return NS_OK; };
  info.mComponents = &record;
  EXPECT_EQ(NS_NewGenericModule2(&info, &module), NS_ERROR_INVALID_ARG);
  record.mFactoryDestructor = nullptr;
  info.mCtor = [](nsIModule*) -> nsresult { return NS_OK; };
  EXPECT_EQ(NS_NewGenericModule2(&info, &module), NS_ERROR_INVALID_ARG);
  EXPECT_EQ(NS_NewGenericModule2(nullptr, &module), NS_ERROR_NULL_POINTER);
}

} // namespace
