// The engine when bogofilter is missing, broken, hung or locked out, and its recovery.
#include "TestSupport.h"

#include <fstream>
#include <thread>

namespace fs = std::filesystem;

namespace quellbark::test {
namespace {

class EngineFailureTest : public EngineFixture {
protected:
  fs::path fake() { return mFolder.path() / "bogofilter"; }

  EngineConfig fakeConfig() {
    EngineConfig c = config();
    c.bogofilter = fake().string();
    c.replyTimeout = std::chrono::milliseconds(500);
    return c;
  }

  void repair() { writeScript(fake(), "exec /usr/bin/bogofilter \"$@\""); }

  // A failed request is answered with its error and logged on one line.
  void expectFailure(Engine& engine, EngineError expected) {
    EXPECT_EQ(engine.score(goodMessage(1)).error, expected);
    EXPECT_EQ(takeLog().size(), 1u);
  }

  void expectServed(Engine& engine) {
    const ScoreResult r = engine.score(goodMessage(1));
    EXPECT_EQ(r.error, EngineError::none);
    EXPECT_LT(r.score, 50);
    EXPECT_TRUE(takeLog().empty());
  }
};

TEST_F(EngineFailureTest, BrokenEnginesGiveTheirErrorAndRecoverAfterRepair) {
  struct Case {
    const char* script; // nullptr: no program at all
    fs::perms perms;
    EngineError error;
  } const cases[] = {
      {nullptr, fs::perms::owner_all, EngineError::engineMissing},
      {"", fs::perms::owner_read, EngineError::engineMissing}, // not executable
      {"exit 1", fs::perms::owner_all, EngineError::engineFailed},
      {"exec sleep 30", fs::perms::owner_all, EngineError::engineFailed}, // hangs
      {"while read f; do echo nonsense; done", fs::perms::owner_all, EngineError::engineFailed},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script ? c.script : "missing");
    fs::remove(fake());
    if (c.script != nullptr) {
      writeScript(fake(), c.script);
      fs::permissions(fake(), c.perms);
    }
    Engine engine(fakeConfig());
    expectFailure(engine, c.error);
    expectFailure(engine, c.error); // tried again, not given up
    repair();
    expectServed(engine);
  }
}

TEST_F(EngineFailureTest, ClassifierThatEndsBetweenRequestsIsRestartedQuietly) {
  writeScript(fake(), "read f; echo \"$f 0.2500000000000000\""); // answers once, then ends
  Engine engine(fakeConfig());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(engine.score(goodMessage(i)).score, 25);
  }
  EXPECT_TRUE(takeLog().empty());
}

TEST_F(EngineFailureTest, FailedTrainingIsReportedAndNotCounted) {
  repair();
  Engine engine(fakeConfig());
  ASSERT_EQ(engine.learn(Verdict::spam, spamMessage(1)), EngineError::none);
  ASSERT_EQ(engine.commit(), EngineError::none);
  writeScript(fake(), "cat >/dev/null; exit 3"); // takes the names, then fails
  ASSERT_EQ(engine.learn(Verdict::spam, spamMessage(2)), EngineError::none);
  ASSERT_EQ(engine.learn(Verdict::spam, spamMessage(3)), EngineError::none);
  EXPECT_EQ(engine.commit(), EngineError::engineFailed);
  const auto log = takeLog();
  ASSERT_EQ(log.size(), 1u);
  EXPECT_NE(log[0].find("2 message(s) not learned"), std::string::npos) << log[0];
  repair();
  EXPECT_EQ(engine.status().learned.spam, 1);
}

TEST_F(EngineFailureTest, WordListLockedByAnotherProcess) {
  Engine engine(config());
  expectServed(engine);
  ASSERT_EQ(engine.commit(), EngineError::none); // ours lets go of the word list
  // A registering bogofilter holds the word list from its start until its input ends.
  fs::path const data = mFolder.path() / "data";
  int spawnError = 0;
  auto other = LineChild::start({"/usr/bin/bogofilter", "-C", "-d", data.string(), "-s", "-b"}, 2,
                                spawnError);
  ASSERT_TRUE(other);
  for (int i = 0; i < 500 && wordListCounts(data); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ASSERT_FALSE(wordListCounts(data)) << "the other process never took the lock";
  const EngineError learned = engine.learn(Verdict::spam, spamMessage(1));
  const EngineError scored = engine.score(goodMessage(2)).error;
  other->kill();
  EXPECT_EQ(learned, EngineError::wordListLocked);
  EXPECT_EQ(scored, EngineError::wordListLocked);
  EXPECT_EQ(takeLog().size(), 2u);
  expectServed(engine);
}

TEST_F(EngineFailureTest, UnusableStorage) {
  fs::path const data = mFolder.path() / "data";
  fs::create_directories(data);
  std::ofstream(data / "wordlist.db") << std::string(4096, '\x5a'); // not a word list
  std::ofstream(mFolder.path() / "file") << "x";
  EngineConfig noWork = config();
  noWork.workRoot = mFolder.path() / "file" / "run";
  EngineConfig noData = config();
  noData.dataFolder = mFolder.path() / "file" / "data";
  Engine corrupt(config());
  expectFailure(corrupt, EngineError::wordListUnusable);
  Engine workless(noWork);
  expectFailure(workless, EngineError::workFolderUnusable);
  Engine dataless(noData);
  expectFailure(dataless, EngineError::wordListUnusable);
  fs::rename(data / "wordlist.db", data / "broken.db"); // the user moves it away
  expectServed(corrupt);

  // A broken record of learned messages refuses learning, not scoring.
  std::ofstream(data / "learned-messages.sqlite") << std::string(4096, '\x5a');
  Engine recordless(config());
  EXPECT_EQ(recordless.learn(Verdict::spam, spamMessage(1)), EngineError::wordListUnusable);
  EXPECT_EQ(takeLog().size(), 1u);
  expectServed(recordless);
  fs::remove(data / "learned-messages.sqlite");
  EXPECT_EQ(recordless.learn(Verdict::spam, spamMessage(1)), EngineError::none);
  EXPECT_EQ(recordless.status().learned.spam, 1);

  // A cleaner of the runtime folder takes the work folder from under a running classifier.
  expectServed(recordless);
  fs::remove_all(mFolder.path() / "run");
  expectServed(recordless);
}

} // namespace
} // namespace quellbark::test
