#include "prefs/PreferencesService.h"
#include "HostTestSupport.h"

#include <gtest/gtest.h>
#include <nsCOMPtr.h>
#include <nsILocalFile.h>
#include <nsServiceManagerUtils.h>
#include <nsStringAPI.h>
#include <nsXPCOM.h>

#include <filesystem>

namespace {

using testsupport::TempDir;

constexpr const char* kContractID = "@mozilla.org/preferences-service;1";

class PreferencesServiceTest : public testing::Test {
protected:
  void start(const std::string& prefsText) {
    testsupport::writeFile(mProfile / "prefs.js", prefsText);
    ASSERT_EQ(NS_InitXPCOM2(nullptr, nullptr, nullptr), NS_OK);
    mStarted = true;
    ASSERT_EQ(
        mailhost::registerPreferencesService(
            mProfile / "prefs.js", [this](const std::string& line) { mLines.push_back(line); }),
        NS_OK);
    nsresult rv;
    mService = do_GetService(kContractID, &rv);
    mRoot = do_GetService(kContractID, &rv);
    ASSERT_TRUE(mService && mRoot);
  }
  void TearDown() override {
    mService = nullptr;
    mRoot = nullptr;
    if (mStarted)
      NS_ShutdownXPCOM(nullptr);
  }

  TempDir mProfile;
  bool mStarted = false;
  std::vector<std::string> mLines;
  nsCOMPtr<nsIPrefService> mService;
  nsCOMPtr<nsIPrefBranch> mRoot;
};

// The plug-in asks the one preferences service for both faces and for the root branch.
TEST_F(PreferencesServiceTest, OneObjectAnswersBothFacesAndIsTheRootBranch) {
  start("");
  nsCOMPtr<nsISupports> viaService = do_QueryInterface(mService);
  nsCOMPtr<nsISupports> viaBranch = do_QueryInterface(mRoot);
  EXPECT_EQ(viaService.get(), viaBranch.get());
  nsCOMPtr<nsIPrefBranch> root;
  ASSERT_EQ(mService->GetBranch(nullptr, getter_AddRefs(root)), NS_OK);
  EXPECT_EQ(root.get(), mRoot.get());
  ASSERT_EQ(mService->GetBranch("", getter_AddRefs(root)), NS_OK);
  EXPECT_EQ(root.get(), mRoot.get());
}

TEST_F(PreferencesServiceTest, TypedReadsFollowTheHostsRules) {
  start("user_pref(\"i\", -7);\nuser_pref(\"b\", true);\nuser_pref(\"s\", \"text\");\n");
  PRInt32 i = 99;
  EXPECT_EQ(mRoot->GetIntPref("i", &i), NS_OK);
  EXPECT_EQ(i, -7);
  PRBool b = PR_FALSE;
  EXPECT_EQ(mRoot->GetBoolPref("b", &b), NS_OK);
  EXPECT_EQ(b, PR_TRUE);
  char* s = nullptr;
  ASSERT_EQ(mRoot->GetCharPref("s", &s), NS_OK);
  EXPECT_STREQ(s, "text");
  NS_Free(s);

  i = 99;
  EXPECT_EQ(mRoot->GetIntPref("missing", &i), NS_ERROR_UNEXPECTED);
  EXPECT_EQ(i, 99) << "a failed read leaves the out-parameter alone";
  EXPECT_EQ(mRoot->GetIntPref("s", &i), NS_ERROR_UNEXPECTED);
  EXPECT_EQ(mRoot->GetBoolPref("i", &b), NS_ERROR_UNEXPECTED);
  EXPECT_EQ(mRoot->GetCharPref("missing", &s), NS_ERROR_UNEXPECTED);
}

TEST_F(PreferencesServiceTest, BadFilesAreReportedWithFileAndLineAndTheRestLoads) {
  start("user_pref(\"a\", 1);\nuser_pref(\"b\" 2);\nuser_pref(\"c\", 3);\n");
  ASSERT_EQ(mLines.size(), 1u);
  EXPECT_EQ(mLines[0], (mProfile / "prefs.js").string() + ":2: expected ',' after preference name");
  PRInt32 value = 0;
  EXPECT_EQ(mRoot->GetIntPref("c", &value), NS_OK);
  EXPECT_EQ(value, 3);
  EXPECT_EQ(mRoot->GetIntPref("b", &value), NS_ERROR_UNEXPECTED);

  std::string folder = mProfile / "a-folder.js";
  mkdir(folder.c_str(), 0700);
  nsCOMPtr<nsILocalFile> file;
  NS_NewNativeLocalFile(nsCString(folder.c_str()), PR_TRUE, getter_AddRefs(file));
  EXPECT_NE(mService->ReadUserPrefs(file), NS_OK);
  ASSERT_EQ(mLines.size(), 2u);
  EXPECT_NE(mLines[1].find("a-folder.js: cannot read"), std::string::npos) << mLines[1];
}

TEST_F(PreferencesServiceTest, SavedFileReadsBackAndIsPrivate) {
  start("user_pref(\"keep\", \"x\");\n");
  mRoot->SetIntPref("n", -3);
  mRoot->SetCharPref("quote", "say \"hi\"\\now");
  mRoot->SetBoolPref("flag", 0);
  ASSERT_EQ(mService->SavePrefFile(nullptr), NS_OK);

  struct stat info {};
  ASSERT_EQ(stat((mProfile / "prefs.js").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);

  mService->ResetUserPrefs();
  PRInt32 value = 0;
  EXPECT_EQ(mRoot->GetIntPref("n", &value), NS_ERROR_UNEXPECTED);
  ASSERT_EQ(mService->ReadUserPrefs(nullptr), NS_OK);
  EXPECT_EQ(mRoot->GetIntPref("n", &value), NS_OK);
  EXPECT_EQ(value, -3);
  char* text = nullptr;
  ASSERT_EQ(mRoot->GetCharPref("quote", &text), NS_OK);
  EXPECT_STREQ(text, "say \"hi\"\\now");
  NS_Free(text);
  EXPECT_TRUE(mLines.empty());
}

} // namespace
