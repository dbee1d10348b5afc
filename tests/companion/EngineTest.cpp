// The engine with the real bogofilter: learning, scoring, counting and where bytes go.
#include "EngineFixture.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <thread>

namespace fs = std::filesystem;

namespace quellbark::test {
namespace {

using EngineTest = EngineFixture;

int modeOf(fs::path const& p) {
  struct stat st {};
  return ::stat(p.c_str(), &st) == 0 ? static_cast<int>(st.st_mode & 0777) : -1;
}

std::vector<fs::path> filesUnder(fs::path const& root) {
  std::vector<fs::path> files;
  std::error_code ec;
  for (auto const& e : fs::recursive_directory_iterator(root, ec)) {
    if (e.is_regular_file()) {
      files.push_back(e.path());
    }
  }
  return files;
}

void learnSome(Engine& engine, int spam, int good) {
  for (int i = 0; i < spam; ++i) {
    ASSERT_EQ(engine.learn(Verdict::spam, spamMessage(i)), EngineError::none);
  }
  for (int i = 0; i < good; ++i) {
    ASSERT_EQ(engine.learn(Verdict::good, goodMessage(i)), EngineError::none);
  }
}

TEST_F(EngineTest, UntrainedEngineNeverCallsMailJunk) {
  Engine engine(config());
  for (auto const& message : {spamMessage(1), goodMessage(1), std::string()}) {
    ScoreResult const r = engine.score(message);
    EXPECT_EQ(r.error, EngineError::none);
    EXPECT_LT(r.score, 50);
  }
  EXPECT_TRUE(fs::exists(mFolder.path() / "data" / "wordlist.db"));
  EXPECT_EQ(modeOf(mFolder.path() / "data"), 0700);
  EXPECT_TRUE(takeLog().empty());
}

TEST_F(EngineTest, LearningMovesScoresApart) {
  Engine engine(config());
  int const spamBefore = engine.score(spamMessage(100)).score;
  int const goodBefore = engine.score(goodMessage(100)).score;
  learnSome(engine, 4, 4);

  // Messages not learned, in the learned vocabularies.
  ScoreResult const spam = engine.score(spamMessage(100));
  ScoreResult const good = engine.score(goodMessage(100));
  ASSERT_EQ(spam.error, EngineError::none);
  ASSERT_EQ(good.error, EngineError::none);
  EXPECT_GE(spam.score, 50);
  EXPECT_LT(good.score, 50);
  EXPECT_GT(spam.score, spamBefore);
  EXPECT_LT(good.score, goodBefore);
}

TEST_F(EngineTest, TooLittleTrainingKeepsSpamBelowJunk) {
  EngineConfig c = config();
  c.minimumLearned = 10;
  Engine engine(c);
  learnSome(engine, 9, 12);
  EXPECT_EQ(engine.score(spamMessage(100)).score, 49);
  learnSome(engine, 1, 0); // now 10 spam: trained enough
  EXPECT_GE(engine.score(spamMessage(100)).score, 50);
}

TEST_F(EngineTest, CountsSurviveTheEngineAndAreBogofiltersOwn) {
  {
    Engine engine(config());
    learnSome(engine, 3, 2);
    EngineStatus const s = engine.status();
    EXPECT_EQ(s.error, EngineError::none);
    EXPECT_EQ(s.learned.spam, 3);
    EXPECT_EQ(s.learned.good, 2);
    learnSome(engine, 1, 0); // pending when the engine goes: committed on the way out
  }
  Engine again(config());
  EngineStatus const s = again.status();
  EXPECT_EQ(s.learned.spam, 4);
  EXPECT_EQ(s.learned.good, 2);
  EXPECT_EQ(s.wordList, mFolder.path() / "data" / "wordlist.db");
  EXPECT_EQ(s.bogofilter, fs::path("/usr/bin/bogofilter"));
  EXPECT_NE(s.version.find("bogofilter"), std::string::npos) << s.version;

  ProgramRun const dump =
      runProgram({"/usr/bin/bogoutil", "-w", (mFolder.path() / "data").string(), ".MSG_COUNT"},
                 std::chrono::seconds(5));
  auto const counts = bogofilter::parseMessageCount(dump.out);
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->spam, 4);
  EXPECT_EQ(counts->good, 2);
}

TEST_F(EngineTest, IdleLearningIsCommittedWithoutAnotherRequest) {
  EngineConfig c = config();
  c.commitDelay = std::chrono::milliseconds(50);
  Engine engine(c);
  learnSome(engine, 2, 0);
  // Another process can read the word list once the batch has been committed.
  std::optional<LearnedCounts> counts;
  for (int attempt = 0; attempt < 100 && !(counts && counts->spam == 2); ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    counts = bogofilter::parseMessageCount(
        runProgram({"/usr/bin/bogoutil", "-w", (mFolder.path() / "data").string(), ".MSG_COUNT"},
                   std::chrono::seconds(5))
            .out);
  }
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->spam, 2);
}

TEST_F(EngineTest, ImmediateCommitWhenBatchingIsOff) {
  EngineConfig c = config();
  c.commitDelay = std::chrono::milliseconds(0);
  Engine engine(c);
  learnSome(engine, 1, 1);
  auto const counts = bogofilter::parseMessageCount(
      runProgram({"/usr/bin/bogoutil", "-w", (mFolder.path() / "data").string(), ".MSG_COUNT"},
                 std::chrono::seconds(5))
          .out);
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->spam, 1);
  EXPECT_EQ(counts->good, 1);
}

TEST_F(EngineTest, MessageBytesStayPrivateAndAreRemoved) {
  fs::path const run = mFolder.path() / "run";
  {
    Engine engine(config());
    learnSome(engine, 2, 0);
    ASSERT_EQ(engine.commit(), EngineError::none);
    engine.score(spamMessage(7));
    EXPECT_EQ(modeOf(run), 0700);
    for (auto const& file : filesUnder(run)) {
      EXPECT_EQ(file.filename(), "engine-errors.txt") << "message file left: " << file;
      EXPECT_EQ(modeOf(file), 0600);
      EXPECT_EQ(modeOf(file.parent_path()), 0700);
    }
  }
  EXPECT_TRUE(filesUnder(run).empty()) << "the work folder goes with the engine";
}

TEST_F(EngineTest, LeftoverWorkFolderOfADeadProcessIsSwept) {
  fs::path const run = mFolder.path() / "run";
  fs::create_directories(run / "work-999999999-abcdef");
  { std::ofstream(run / "work-999999999-abcdef" / "message-0.eml") << spamMessage(1); }
  Engine engine(config());
  engine.score(goodMessage(1));
  EXPECT_FALSE(fs::exists(run / "work-999999999-abcdef"));
}

TEST_F(EngineTest, DataFolderWithLooseModeIsMadePrivate) {
  fs::create_directories(mFolder.path() / "data");
  fs::permissions(mFolder.path() / "data", fs::perms::all);
  Engine engine(config());
  EXPECT_EQ(engine.score(goodMessage(1)).error, EngineError::none);
  EXPECT_EQ(modeOf(mFolder.path() / "data"), 0700);
}

TEST_F(EngineTest, ConcurrentCallersAreSerialised) {
  Engine engine(config());
  learnSome(engine, 3, 3);
  std::vector<std::jthread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 10; ++i) {
        bool const ok = (i % 3 == 0) ? engine.learn(t % 2 ? Verdict::spam : Verdict::good,
                                                    t % 2 ? spamMessage(i) : goodMessage(i)) ==
                                           EngineError::none
                                     : engine.score(spamMessage(i)).error == EngineError::none;
        failures += ok ? 0 : 1;
      }
    });
  }
  threads.clear();
  EXPECT_EQ(failures.load(), 0);
  EngineStatus const s = engine.status();
  EXPECT_EQ(s.learned.spam + s.learned.good, 6 + 16);
}

} // namespace
} // namespace quellbark::test
