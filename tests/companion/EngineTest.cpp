// The engine with the real bogofilter: learning, scoring, counting and where bytes go.
#include "TestSupport.h"

#include <fstream>
#include <sys/stat.h>
#include <thread>

namespace fs = std::filesystem;

namespace quellbark::test {
namespace {

using EngineTest = EngineFixture;

int modeOf(const fs::path& p) {
  struct stat st {};
  return ::stat(p.c_str(), &st) == 0 ? static_cast<int>(st.st_mode & 0777) : -1;
}

void learnSome(Engine& engine, int spam, int good, int first = 0) {
  for (int i = first; i < first + spam; ++i) {
    ASSERT_EQ(engine.learn(Verdict::spam, spamMessage(i)), EngineError::none);
  }
  for (int i = first; i < first + good; ++i) {
    ASSERT_EQ(engine.learn(Verdict::good, goodMessage(i)), EngineError::none);
  }
}

TEST_F(EngineTest, LearningMovesScoresApartOnceTrainedEnough) {
  EngineConfig c = config();
  c.minimumLearned = 4;
  Engine engine(c);
  const int spamBefore = engine.score(spamMessage(100)).score;
  const int goodBefore = engine.score(goodMessage(100)).score;
  EXPECT_LT(spamBefore, 50) << "untrained";
  EXPECT_TRUE(takeLog().empty());
  learnSome(engine, 3, 4);
  EXPECT_EQ(engine.score(spamMessage(100)).score, 49) << "3 spam learned: still held below 50";
  learnSome(engine, 1, 0, 3);
  const ScoreResult spam = engine.score(spamMessage(100)); // not learned, spam's vocabulary
  const ScoreResult good = engine.score(goodMessage(100));
  EXPECT_GE(spam.score, 50);
  EXPECT_GT(spam.score, spamBefore);
  EXPECT_LT(good.score, 50);
  EXPECT_LT(good.score, goodBefore);
}

TEST_F(EngineTest, CountsAreBogofiltersOwnAndSurviveTheEngine) {
  {
    Engine engine(config());
    learnSome(engine, 3, 2);
    const EngineStatus s = engine.status();
    EXPECT_EQ(s.learned.spam, 3);
    EXPECT_EQ(s.learned.good, 2);
    learnSome(engine, 1, 0, 3); // still pending when the engine goes
  }
  const EngineStatus s = Engine(config()).status();
  EXPECT_EQ(s.error, EngineError::none);
  EXPECT_EQ(s.learned.spam, 4);
  EXPECT_EQ(s.learned.good, 2);
  const auto counts = wordListCounts(mFolder.path() / "data");
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->spam, 4);
}

// Messages are recognised only by the word list that learned them: one made anew relearns all.
TEST_F(EngineTest, ANewWordListLearnsAgainWhatTheOldOneHad) {
  {
    Engine engine(config());
    learnSome(engine, 1, 1);
    learnSome(engine, 1, 1);
    EXPECT_EQ(engine.status().learned.spam, 1);
  }
  fs::remove(mFolder.path() / "data/wordlist.db");
  Engine engine(config());
  learnSome(engine, 1, 1);
  const EngineStatus s = engine.status();
  EXPECT_EQ(s.learned.spam, 1);
  EXPECT_EQ(s.learned.good, 1);
}

// Learning reaches the word list without a further request, whether batched or not.
TEST_F(EngineTest, LearningIsCommittedWithoutAnotherRequest) {
  for (int idle : {0, 50}) {
    TempDir data;
    EngineConfig c = config();
    c.dataFolder = data.path();
    c.idleTimeout = std::chrono::milliseconds(idle);
    Engine engine(c);
    learnSome(engine, 2, 1);
    std::optional<LearnedCounts> counts; // a lock while committing makes bogoutil fail
    for (int i = 0; i < 100 && !(counts && counts->spam == 2 && counts->good == 1); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(idle));
      counts = wordListCounts(data.path());
    }
    ASSERT_TRUE(counts) << idle;
    EXPECT_EQ(counts->spam, 2) << idle;
    EXPECT_EQ(counts->good, 1) << idle;
  }
}

// A running bogofilter keeps the word list locked; an idle engine lets other programs write.
TEST_F(EngineTest, IdleEngineFreesTheWordList) {
  EngineConfig c = config();
  c.idleTimeout = std::chrono::milliseconds(100);
  Engine engine(c);
  ASSERT_EQ(engine.score(goodMessage(1)).error, EngineError::none);
  std::ofstream(mFolder.path() / "mail") << goodMessage(2);
  const ProgramRun other = runProgram({"/usr/bin/bogofilter", "-C", "-d", c.dataFolder.string(),
                                       "-n", "-I", (mFolder.path() / "mail").string()},
                                      std::chrono::seconds(5));
  EXPECT_TRUE(other.exit.succeeded()) << other.err;
  EXPECT_EQ(engine.status().learned.good, 1);
}

// Messages reach bogofilter through memory that is rewritten for each one: every score must be
// bogofilter's own for those bytes alone, also after a longer message.
TEST_F(EngineTest, ScoresAreBogofiltersOwnForEachMessage) {
  EngineConfig c = config();
  c.minimumLearned = 0;
  Engine engine(c);
  learnSome(engine, 3, 3);
  ASSERT_EQ(engine.commit(), EngineError::none);
  Engine::Classifier inParts(engine);
  std::string longSpam;
  for (int i = 0; i < 40; ++i) {
    longSpam += spamMessage(200 + i);
  }
  for (const std::string& message :
       {longSpam, goodMessage(300), spamMessage(301), std::string(), goodMessage(302)}) {
    fs::path const file = mFolder.path() / "direct.eml";
    std::ofstream(file, std::ios::binary | std::ios::trunc) << message;
    const ProgramRun direct = runProgram(
        {"/usr/bin/bogofilter", "-C", "-d", c.dataFolder.string(), "-TT", "-I", file.string()},
        std::chrono::seconds(5));
    const ScoreResult scored = engine.score(message);
    ASSERT_EQ(scored.error, EngineError::none);
    EXPECT_EQ(scored.score, scoreFromSpamicity(std::stod(direct.out))) << message.size();
    // The same bytes in parts, over a file that held a longer message before.
    std::string_view const whole = message;
    std::size_t const cut = whole.size() / 3;
    std::size_t const next = std::min(whole.size(), cut + 1);
    std::string_view const parts[] = {whole.substr(0, cut), whole.substr(cut, next - cut),
                                      whole.substr(next)};
    EXPECT_EQ(engine.score(inParts, parts).score, scored.score) << message.size();
  }
}

TEST_F(EngineTest, MessageBytesStayPrivateAndAreRemoved) {
  fs::path const run = mFolder.path() / "run";
  fs::create_directories(run / "work-999999999-abcdef"); // left by a process that is gone
  std::ofstream(run / "work-999999999-abcdef" / "message-0.eml") << spamMessage(1);
  fs::create_directories(mFolder.path() / "data");
  fs::permissions(mFolder.path() / "data", fs::perms::all);
  {
    Engine engine(config());
    learnSome(engine, 2, 0);
    ASSERT_EQ(engine.commit(), EngineError::none);
    engine.score(spamMessage(7));
    EXPECT_FALSE(fs::exists(run / "work-999999999-abcdef"));
    EXPECT_EQ(modeOf(mFolder.path() / "data"), 0700);
    EXPECT_EQ(modeOf(run), 0700);
    for (const auto& e : fs::recursive_directory_iterator(run)) {
      EXPECT_EQ(modeOf(e.path()), e.is_directory() ? 0700 : 0600) << e.path();
      // Learned messages are gone once committed; the classifier's one file is rewritten.
      std::string const name = e.path().filename().string();
      EXPECT_TRUE(e.is_directory() || name == "engine-errors.txt" || name.starts_with("scoring-"))
          << e.path();
    }
  }
  EXPECT_TRUE(fs::is_empty(run)) << "the work folder goes with the engine";
}

} // namespace
} // namespace quellbark::test
