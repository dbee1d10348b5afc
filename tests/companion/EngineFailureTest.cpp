// The engine when bogofilter is missing, broken, hung or locked out, and its recovery.
#include "EngineFixture.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace quellbark::test {
namespace {

class EngineFailureTest : public EngineFixture {
protected:
  fs::path fakeBogofilter() { return mFolder.path() / "bogofilter"; }

  EngineConfig fakeConfig() {
    EngineConfig c = config();
    c.bogofilter = fakeBogofilter().string();
    return c;
  }

  void repair() { writeScript(fakeBogofilter(), "exec /usr/bin/bogofilter \"$@\""); }

  // Each failed request is answered with its error and logged on one line.
  void expectFailure(Engine& engine, EngineError expected) {
    EXPECT_EQ(engine.score(goodMessage(1)).error, expected);
    EXPECT_EQ(takeLog().size(), 1u);
  }

  void expectServed(Engine& engine) {
    ScoreResult const r = engine.score(goodMessage(1));
    EXPECT_EQ(r.error, EngineError::none);
    EXPECT_LT(r.score, 50);
    EXPECT_TRUE(takeLog().empty());
  }
};

TEST_F(EngineFailureTest, BrokenEnginesGiveTheirErrorAndRecoverAfterRepair) {
  struct Case {
    char const* name;
    char const* script; // nullptr: no program at all
    EngineError error;
  } const cases[] = {
      {"missing", nullptr, EngineError::engineMissing},
      {"not executable", "", EngineError::engineMissing},
      {"exits 1", "exit 1", EngineError::engineFailed},
      {"crashes", "kill -SEGV $$", EngineError::engineFailed},
      {"hangs", "exec sleep 30", EngineError::engineFailed},
      {"talks nonsense", "while read f; do echo \"nonsense\"; done", EngineError::engineFailed},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove(fakeBogofilter());
    if (c.script != nullptr) {
      writeScript(fakeBogofilter(), c.script);
      if (std::string(c.name) == "not executable") {
        fs::permissions(fakeBogofilter(), fs::perms::owner_read | fs::perms::owner_write);
      }
    }
    EngineConfig cfg = fakeConfig();
    cfg.replyTimeout = std::chrono::milliseconds(500);
    Engine engine(cfg);
    expectFailure(engine, c.error);
    expectFailure(engine, c.error); // still failing: tried again, not given up
    repair();
    expectServed(engine);
  }
}

TEST_F(EngineFailureTest, MissingFromPath) {
  char const* saved = std::getenv("PATH");
  std::string const oldPath = saved ? saved : "";
  ::setenv("PATH", (mFolder.path() / "empty").c_str(), 1);
  EngineConfig c = config();
  c.bogofilter = "bogofilter";
  Engine engine(c);
  ScoreResult const r = engine.score(spamMessage(1));
  EngineError const learned = engine.learn(Verdict::spam, spamMessage(1));
  ::setenv("PATH", oldPath.c_str(), 1);
  EXPECT_EQ(r.error, EngineError::engineMissing);
  EXPECT_EQ(learned, EngineError::engineMissing);
  EXPECT_EQ(takeLog().size(), 2u);
  expectServed(engine);
}

TEST_F(EngineFailureTest, ClassifierThatEndsBetweenRequestsIsRestartedQuietly) {
  // Answers one file, then exits: every request after the first meets a dead process.
  writeScript(fakeBogofilter(), "read f; echo \"$f 0.2500000000000000\"");
  Engine engine(fakeConfig());
  for (int i = 0; i < 3; ++i) {
    ScoreResult const r = engine.score(goodMessage(i));
    EXPECT_EQ(r.error, EngineError::none);
    EXPECT_EQ(r.score, 25);
  }
  EXPECT_TRUE(takeLog().empty());
}

TEST_F(EngineFailureTest, FailedTrainingIsReportedAndNotCounted) {
  repair();
  Engine engine(fakeConfig());
  ASSERT_EQ(engine.learn(Verdict::spam, spamMessage(1)), EngineError::none);
  ASSERT_EQ(engine.commit(), EngineError::none);
  // A trainer that takes the names and then fails: nothing of its batch counts.
  writeScript(fakeBogofilter(), "cat >/dev/null; exit 3");
  ASSERT_EQ(engine.learn(Verdict::spam, spamMessage(2)), EngineError::none);
  ASSERT_EQ(engine.learn(Verdict::spam, spamMessage(3)), EngineError::none);
  EXPECT_EQ(engine.commit(), EngineError::engineFailed);
  auto const log = takeLog();
  ASSERT_EQ(log.size(), 1u);
  EXPECT_NE(log[0].find("2 message(s) not learned"), std::string::npos) << log[0];
  repair();
  EXPECT_EQ(engine.status().learned.spam, 1);
}

TEST_F(EngineFailureTest, WordListLockedByAnotherProcess) {
  Engine engine(config());
  expectServed(engine);
  ASSERT_EQ(engine.learn(Verdict::good, goodMessage(1)), EngineError::none);
  ASSERT_EQ(engine.commit(), EngineError::none);
  // Another registering bogofilter holds the word list as long as its input is open.
  std::string const command =
      "/usr/bin/bogofilter -C -d '" + (mFolder.path() / "data").string() + "' -s -b";
  FILE* other = ::popen(command.c_str(), "w");
  ASSERT_NE(other, nullptr);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EngineError const whileLocked = engine.learn(Verdict::spam, spamMessage(1));
  ScoreResult const scoreWhileLocked = engine.score(goodMessage(2));
  ::pclose(other);
  EXPECT_EQ(whileLocked, EngineError::wordListLocked);
  EXPECT_EQ(scoreWhileLocked.error, EngineError::wordListLocked);
  EXPECT_EQ(takeLog().size(), 2u);
  expectServed(engine);
}

TEST_F(EngineFailureTest, CorruptWordListIsReportedUntilReplaced) {
  fs::create_directories(mFolder.path() / "data");
  {
    std::ofstream out(mFolder.path() / "data" / "wordlist.db", std::ios::binary);
    for (int i = 0; i < 4096; ++i) {
      out.put(static_cast<char>(i * 131 + 7));
    }
  }
  Engine engine(config());
  expectFailure(engine, EngineError::wordListUnusable);
  fs::rename(mFolder.path() / "data" / "wordlist.db", mFolder.path() / "data" / "broken.db");
  expectServed(engine);
}

TEST_F(EngineFailureTest, UnusableFolders) {
  std::ofstream(mFolder.path() / "plain-file") << "x";
  EngineConfig work = config();
  work.workRoot = mFolder.path() / "plain-file" / "run";
  Engine workless(work);
  expectFailure(workless, EngineError::workFolderUnusable);

  EngineConfig data = config();
  data.dataFolder = mFolder.path() / "plain-file" / "data";
  Engine dataless(data);
  expectFailure(dataless, EngineError::wordListUnusable);
}

} // namespace
} // namespace quellbark::test
