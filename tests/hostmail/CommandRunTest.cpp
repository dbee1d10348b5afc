// Classify and mark runs against a plug-in that streams through the real mailbox service:
// verdicts stored with their origin, batches that stall or are refused, folders that cannot be
// read, and the user's previous classification handed to the plug-in.
#include "ClassifyRun.h"
#include "FakeJunkPlugin.h"
#include "MarkRun.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <nsXPCOM.h>

using testsupport::TempDir;

using namespace mailhost;
using Verdict = ClassifyOutcome::Verdict;

namespace {

class XpcomEnvironment : public ::testing::Environment {
public:
  void SetUp() override { ASSERT_EQ(NS_InitXPCOM2(nullptr, nullptr, nullptr), NS_OK); }
  void TearDown() override { NS_ShutdownXPCOM(nullptr); }
};
const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new XpcomEnvironment);

class CommandRunTest : public ::testing::Test {
protected:
  CommandRunTest() : store(dir / "junkstatus.sqlite"), plugin(new FakeJunkPlugin) {}

  // Runs the folders, keeping every outcome as the batches hand them out.
  ClassifyReport classify(ClassifyRun& run, const std::vector<std::filesystem::path>& folders) {
    run.onBatch([this](const std::vector<ClassifyOutcome>& batch) {
      outcomes.insert(outcomes.end(), batch.begin(), batch.end());
    });
    return run.run(folders);
  }

  std::vector<std::pair<std::string, Verdict>> verdicts() {
    std::vector<std::pair<std::string, Verdict>> result;
    for (const ClassifyOutcome& m : outcomes) {
      std::string uri = m.uri.substr(0, m.uri.find('?'));
      result.emplace_back(uri.substr(uri.rfind('/') + 1), m.verdict);
    }
    return result;
  }

  TempDir dir;
  JunkStore store;
  MailServices mail;
  nsCOMPtr<FakeJunkPlugin> plugin;
  std::vector<ClassifyOutcome> outcomes;
};

} // namespace

TEST_F(CommandRunTest, ClassifiesEachFolderAsABatchAndStoresPluginVerdicts) {
  dir.write("Inbox", "From a\nSubject: SPAM offer\n\nbuy\n\nFrom b\nSubject: hi\n\nhello\n");
  dir.write("Box/cur/1.x:2,S", "Subject: x\n\nSPAM inside\n");
  dir.write("Box/new/2.y", "Subject: y\n\nfine\n");
  dir.write("one.eml", "Subject: single\n\nok\n");
  ClassifyRun run(plugin, mail, store);
  std::vector<std::pair<std::size_t, std::size_t>> progress;
  std::vector<std::string> announced;
  run.onProgress([&](std::size_t done, std::size_t total) { progress.emplace_back(done, total); });
  run.onResult([&](const ClassifyOutcome& outcome) { announced.push_back(outcome.uri); });

  ClassifyReport report = classify(run, {dir / "Inbox", dir / "Box", dir / "one.eml"});
  EXPECT_EQ(verdicts(), (std::vector<std::pair<std::string, Verdict>>{{"Inbox#0", Verdict::Junk},
                                                                      {"Inbox#33", Verdict::Good},
                                                                      {"Box#1.x", Verdict::Junk},
                                                                      {"Box#2.y", Verdict::Good},
                                                                      {"one.eml", Verdict::Good}}));
  EXPECT_TRUE(report.errors.empty()) << report.errors.front();
  EXPECT_EQ(announced.size(), 5u);
  EXPECT_EQ(progress.front(), std::make_pair(std::size_t{0}, std::size_t{5}));
  EXPECT_EQ(progress.back(), std::make_pair(std::size_t{5}, std::size_t{5}));

  EXPECT_EQ(report.count(Verdict::Junk), 2u);
  EXPECT_EQ(report.count(Verdict::Good), 3u);
  std::optional<JunkStatus> junk = store.find(outcomes[0].uri);
  ASSERT_TRUE(junk);
  EXPECT_EQ(junk->score, 100);
  EXPECT_EQ(junk->origin, JunkOrigin::Plugin);
  EXPECT_EQ(store.find(outcomes[1].uri)->score, 0);
  EXPECT_EQ(store.all().size(), 5u);
}

TEST_F(CommandRunTest, ALargeFolderGoesInBoundedBatchesAndEveryMessageIsReported) {
  constexpr std::size_t kCount = 2 * ClassifyRun::kBatchSize + 1;
  for (std::size_t i = 0; i < kCount; ++i)
    dir.write("Big/cur/" + std::to_string(1000 + i) + ".x:2,",
              i % 3 == 0 ? "Subject: SPAM\n\nx\n" : "Subject: ok\n\nx\n");
  ClassifyRun run(plugin, mail, store);
  ClassifyReport report = classify(run, {dir / "Big"});

  EXPECT_EQ(plugin->requestSizes,
            (std::vector<std::size_t>{ClassifyRun::kBatchSize, ClassifyRun::kBatchSize, 1}));
  std::vector<std::pair<std::string, Verdict>> got = verdicts();
  ASSERT_EQ(got.size(), kCount);
  for (std::size_t i = 0; i < kCount; ++i)
    ASSERT_EQ(got[i], std::make_pair("Big#" + std::to_string(1000 + i) + ".x",
                                     i % 3 == 0 ? Verdict::Junk : Verdict::Good));
  EXPECT_EQ(report.messages, kCount);
  EXPECT_EQ(report.junk, (kCount + 2) / 3);
  EXPECT_TRUE(report.errors.empty() && report.unclassified.empty());
  EXPECT_EQ(store.all().size(), kCount);
}

TEST_F(CommandRunTest, ProblemsStayWithTheirFolderOrMessage) {
  dir.write("Stalls", "From a\nSubject: 1\n\nok\n\nFrom b\nSubject: 2\n\nNOREPORT\n\n"
                      "From c\nSubject: 3\n\nnever reached\n");
  dir.write("Refused", "From a\nSubject: r\n\nx\n");
  dir.write("Broken/cur/1.z", "this is no message\nat all\n");
  dir.write("Chatty", "From a\nSubject: BOGUS\n\nx\n");
  dir.write("Fine", "From a\nSubject: f\n\nSPAM\n");
  plugin->refusedUri = mail.store().messagesIn(dir / "Refused").at(0).uri;

  ClassifyRun run(plugin, mail, store);
  ClassifyReport report = classify(run, {dir / "Stalls", dir / "Missing", dir / "Refused",
                                         dir / "Broken", dir / "Chatty", dir / "Fine"});
  EXPECT_EQ(verdicts(),
            (std::vector<std::pair<std::string, Verdict>>{{"Stalls#0", Verdict::Good},
                                                          {"Stalls#23", Verdict::Unclassified},
                                                          {"Stalls#52", Verdict::Unclassified},
                                                          {"Refused#0", Verdict::Unclassified},
                                                          {"Broken#1.z", Verdict::Unclassified},
                                                          {"Chatty#0", Verdict::Good},
                                                          {"Fine#0", Verdict::Junk}}));
  EXPECT_EQ(outcomes[1].error, "never classified");
  // The plug-in classified the unreadable message all the same; the host knows why it has no
  // verdict.
  EXPECT_NE(outcomes[4].error.find("not a mail message"), std::string::npos);
  ASSERT_EQ(report.errors.size(), 4u);
  EXPECT_NE(report.errors[0].find((dir / "Missing").string()), std::string::npos);
  EXPECT_EQ(report.errors[1].rfind("cannot classify " + plugin->refusedUri, 0), 0u);
  EXPECT_EQ(report.errors[2].rfind("cannot read message " + outcomes[4].uri, 0), 0u);
  EXPECT_NE(report.errors[3].find("bogus://nothing"), std::string::npos);
  EXPECT_EQ(report.unclassified, (std::vector<std::string>{outcomes[1].uri, outcomes[2].uri,
                                                           outcomes[3].uri, outcomes[4].uri}));
  EXPECT_FALSE(store.find(outcomes[1].uri));
}

TEST_F(CommandRunTest, MarkingPassesTheUsersPreviousVerdictAndStoresTheNewOne) {
  dir.write("Inbox", "From a\nSubject: s\n\nx\n");
  std::string uri = mail.store().messagesIn(dir / "Inbox").at(0).uri;
  store.record(uri, 100, JunkOrigin::Plugin); // the plug-in's verdict is not the user's

  MarkRun run(plugin, mail, store);
  for (nsMsgJunkStatus verdict : {kJunk, kGood, kJunk}) {
    std::vector<MarkOutcome> outcomes = run.run({uri}, verdict);
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_TRUE(outcomes[0].accepted);
    EXPECT_TRUE(outcomes[0].confirmed);
    EXPECT_EQ(outcomes[0].error, "");
  }
  using Training = std::tuple<std::string, nsMsgJunkStatus, nsMsgJunkStatus>;
  EXPECT_EQ(plugin->trained,
            (std::vector<Training>{
                {uri, kUnclassified, kJunk}, {uri, kJunk, kGood}, {uri, kGood, kJunk}}));
  std::optional<JunkStatus> status = store.find(uri);
  ASSERT_TRUE(status);
  EXPECT_EQ(status->score, 100);
  EXPECT_EQ(status->origin, JunkOrigin::User);
}

TEST_F(CommandRunTest, AMarkThatCannotStartIsNotStored) {
  dir.write("Inbox", "From a\nSubject: s\n\nx\n");
  std::string uri = mail.store().messagesIn(dir / "Inbox").at(0).uri;
  plugin->refusedUri = uri;
  MarkRun run(plugin, mail, store);
  std::vector<MarkOutcome> outcomes =
      run.run({uri, "imap-message://u@h/INBOX#1", uri.substr(0, uri.find('#')) + "#999"}, kJunk);
  ASSERT_EQ(outcomes.size(), 3u);
  EXPECT_FALSE(outcomes[0].accepted);
  EXPECT_NE(outcomes[0].error.find("refused"), std::string::npos);
  EXPECT_FALSE(outcomes[1].accepted); // no message service for imap in this host
  // A local message that is not there is not handed to the plug-in at all.
  EXPECT_FALSE(outcomes[2].accepted);
  EXPECT_NE(outcomes[2].error.find("no message at key 999"), std::string::npos);
  EXPECT_TRUE(store.all().empty());
  EXPECT_TRUE(plugin->trained.empty());
}

TEST_F(CommandRunTest, TargetsAreUrisOrPaths) {
  dir.write("Inbox", "From a\nSubject: 1\n\nx\n\nFrom b\nSubject: 2\n\ny\n");
  EXPECT_EQ(messageUrisOf(mail.store(), "mailbox-message://nobody@Local%20Folders/x#1"),
            std::vector<std::string>{"mailbox-message://nobody@Local%20Folders/x#1"});
  EXPECT_EQ(messageUrisOf(mail.store(), (dir / "Inbox").string()).size(), 2u);
  dir.write("odd:name", "Subject: colon\n\nz\n");
  EXPECT_EQ(messageUrisOf(mail.store(), (dir / "odd:name").string()).size(), 1u);
}
