// The junk-mail component as the host meets it: the bundle loaded by the host's own loader, the
// component made by the runtime's factory, with the host's preferences service in place.
#include "HostTestSupport.h"
#include "LogLevelFile.h"
#include "plugin/PluginBundle.h"
#include "prefs/PreferencesService.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <nsCOMPtr.h>
#include <nsIComponentManager.h>
#include <nsIFactory.h>
#include <nsIJunkMailPlugin.h>
#include <nsXPCOM.h>
#include <optional>

namespace {

using testsupport::TempDir;

constexpr nsCID kFilterCID = {
    0xf1070bfa, 0xd539, 0x11d6, {0x90, 0xca, 0x00, 0x03, 0x93, 0x10, 0xa4, 0x7a}};

// Counts what an aggregating outer object would be asked for; the component must not touch it.
class Outer final : public nsISupports {
public:
  NS_IMETHOD QueryInterface(REFNSIID, void** aResult) override {
    ++calls;
    *aResult = nullptr;
    return NS_ERROR_NO_INTERFACE;
  }
  NS_IMETHOD_(nsrefcnt) AddRef() override { return ++calls; }
  NS_IMETHOD_(nsrefcnt) Release() override { return ++calls; }
  int calls = 0;
};

class FilterComponent : public testing::Test {
protected:
  void start(const std::string& prefsText = "") {
    setenv("CFFIXED_USER_HOME", mHome.path().c_str(), 1);
    testsupport::writeFile(mProfile / "prefs.js", prefsText);
    ASSERT_EQ(NS_InitXPCOM2(nullptr, nullptr, nullptr), NS_OK);
    mStarted = true;
    ASSERT_EQ(mailhost::registerPreferencesService(mProfile / "prefs.js", [](auto&) {}), NS_OK);
    ASSERT_EQ(mailhost::loadPluginBundle(testsupport::bundlePath()).size(), 1u);
    // Requests that never start keep their objects on purpose; holding the bundle mapped until
    // exit lets the leak checker name the bundle's functions that made them.
    static void* pinned = dlopen(testsupport::bundlePath().c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(pinned, nullptr);
    ASSERT_EQ(NS_GetComponentManager(getter_AddRefs(mManager)), NS_OK);
  }
  void stop() {
    mManager = nullptr;
    if (mStarted)
      NS_ShutdownXPCOM(nullptr);
    mStarted = false;
  }
  void TearDown() override {
    stop();
    unsetenv("CFFIXED_USER_HOME");
  }
  nsIJunkMailPlugin* create() {
    void* object = nullptr;
    mManager->CreateInstance(kFilterCID, nullptr, NS_GET_IID(nsIJunkMailPlugin), &object);
    return static_cast<nsIJunkMailPlugin*>(object);
  }

  TempDir mHome;
  TempDir mProfile;
  TempDir mScratch;
  bool mStarted = false;
  nsCOMPtr<nsIComponentManager> mManager;
};

TEST_F(FilterComponent, FactoryRefusesAggregationAndLeavesTheOuterAlone) {
  start();
  Outer outer;
  void* result = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(mManager->CreateInstance(kFilterCID, &outer, NS_GET_IID(nsIJunkMailPlugin), &result),
            NS_ERROR_NO_AGGREGATION);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(outer.calls, 0);
}

// One object answers the three interfaces, with plain counts. Creating, querying and counting
// log nothing, even at the most talkative level. A refused creation must free its object: the
// sanitizer build's leak check catches one left alive.
TEST_F(FilterComponent, ThreeInterfacesOneObjectPlainCountsNoLog) {
  start();
  testsupport::writeLogLevel(mHome.path(), -100);
  testsupport::StderrCapture capture(mScratch);
  void* result = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(mManager->CreateInstance(kFilterCID, nullptr, NS_GET_IID(nsIFactory), &result),
            NS_ERROR_NO_INTERFACE);
  EXPECT_EQ(result, nullptr);
  const nsIID iids[] = {NS_GET_IID(nsIJunkMailPlugin), NS_GET_IID(nsIMsgFilterPlugin),
                        NS_GET_IID(nsISupports)};
  for (const nsIID& iid : iids) {
    void* fresh = nullptr;
    ASSERT_EQ(mManager->CreateInstance(kFilterCID, nullptr, iid, &fresh), NS_OK);
    auto* object = static_cast<nsISupports*>(fresh);
    EXPECT_EQ(object->AddRef(), 2u) << "the caller holds the only reference";
    EXPECT_EQ(object->Release(), 1u);

    for (const nsIID& other : iids) {
      void* same = nullptr;
      ASSERT_EQ(object->QueryInterface(other, &same), NS_OK);
      EXPECT_EQ(same, fresh);
      EXPECT_EQ(object->Release(), 1u);
    }
    void* none = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(object->QueryInterface(NS_GET_IID(nsIFactory), &none), NS_ERROR_NO_INTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(object->AddRef(), 2u) << "a refused query does not count";
    object->Release();
    EXPECT_EQ(object->Release(), 0u);
  }
  EXPECT_EQ(capture.text(), "");
}

// The ten slots, each called once, with what they answer and what they log at threshold 10.
struct Answers {
  std::vector<nsresult> results;
  PRBool downloadAllHeaders = -1;
  PRBool userHasClassified = -1;
  std::string log;
};

Answers askEverything(nsIJunkMailPlugin* plugin, const TempDir& scratch) {
  Answers answers;
  testsupport::StderrCapture capture(scratch);
  // A URI without a scheme: no message service serves it, so each request fails to start.
  const char* uris[] = {"no-scheme-here"};
  answers.results = {
      plugin->Shutdown(),
      plugin->GetShouldDownloadAllHeaders(&answers.downloadAllHeaders),
      plugin->ClassifyMessage(uris[0], nullptr, nullptr),
      plugin->ClassifyMessages(1, uris, nullptr, nullptr),
      plugin->SetMessageClassification(uris[0], nsIJunkMailPlugin::GOOD, nsIJunkMailPlugin::JUNK,
                                       nullptr, nullptr),
      plugin->GetUserHasClassified(&answers.userHasClassified),
      plugin->ResetTrainingData(),
  };
  answers.log = capture.text();
  return answers;
}

TEST_F(FilterComponent, SimpleAnswersAndTheirLogLines) {
  start();
  testsupport::writeLogLevel(mHome.path(), 10);
  nsIJunkMailPlugin* plugin = create();
  Answers answers = askEverything(plugin, mScratch);
  plugin->Release();

  EXPECT_EQ(answers.downloadAllHeaders, PR_FALSE);
  EXPECT_EQ(answers.userHasClassified, PR_TRUE);
  EXPECT_EQ(answers.results,
            (std::vector<nsresult>{NS_OK, NS_OK, NS_ERROR_FAILURE, NS_ERROR_FAILURE,
                                   NS_ERROR_FAILURE, NS_OK, NS_OK}));
  EXPECT_EQ(
      answers.log,
      "Quellbark Thunderbird Plug-In: nsBayesianFilter::GetShouldDownloadAllHeaders()\n"
      "Quellbark Thunderbird Plug-In: nsBayesianFilter::ClassifyMessage()\n"
      "Quellbark Thunderbird Plug-In: QuellbarkTokenStreamListener::QuellbarkTokenStreamListener\n"
      "Quellbark Thunderbird Plug-In: nsBayesianFilter::streamMessage()\n"
      "Quellbark Thunderbird Plug-In: nsBayesianFilter::ClassifyMessages()\n"
      "Quellbark Thunderbird Plug-In: QuellbarkTokenStreamListener::QuellbarkTokenStreamListener\n"
      "Quellbark Thunderbird Plug-In: nsBayesianFilter::streamMessage()\n"
      "Quellbark Thunderbird Plug-In: nsBayesianFilter::SetMessageClassification()\n"
      "Quellbark Thunderbird Plug-In: QuellbarkTokenStreamListener::QuellbarkTokenStreamListener\n"
      "Quellbark Thunderbird Plug-In: nsBayesianFilter::streamMessage()\n"
      "Quellbark Thunderbird Plug-In: nsBayesianFilter::GetUserHasClassified()\n"
      "Quellbark Thunderbird Plug-In: nsBayesianFilter::ResetTrainingData()\n");
}

// The host's junk threshold is read and dropped: any value, or none, changes nothing.
TEST_F(FilterComponent, JunkThresholdHasNoEffect) {
  const char* profiles[] = {"", "user_pref(\"mail.adaptivefilters.junk_threshold\", 90);\n",
                            "user_pref(\"mail.adaptivefilters.junk_threshold\", \"text\");\n"};
  std::optional<Answers> reference;
  for (const char* prefs : profiles) {
    SCOPED_TRACE(prefs);
    start(prefs);
    testsupport::writeLogLevel(mHome.path(), 10);
    nsIJunkMailPlugin* plugin = create();
    ASSERT_NE(plugin, nullptr);
    Answers answers = askEverything(plugin, mScratch);
    // Each of the three requests that could not start keeps its hold on the filter.
    EXPECT_EQ(plugin->Release(), 3u);
    stop();
    if (!reference) {
      reference = answers;
      continue;
    }
    EXPECT_EQ(answers.results, reference->results);
    EXPECT_EQ(answers.downloadAllHeaders, reference->downloadAllHeaders);
    EXPECT_EQ(answers.userHasClassified, reference->userHasClassified);
    EXPECT_EQ(answers.log, reference->log);
  }
}

} // namespace
