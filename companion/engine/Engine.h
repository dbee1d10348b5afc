// The spam-filter engine: scores and learns messages with bogofilter.
#pragma once

#include "Bogofilter.h"
#include "CpuSet.h"
#include "EngineError.h"
#include "LearnedMessages.h"
#include "MessageFile.h"
#include "PrivateFolder.h"
#include "Score.h"
#include "Subprocess.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quellbark {

struct EngineConfig {
  std::string bogofilter = "bogofilter"; // a name looked up on PATH, or a path
  std::string bogoutil = "bogoutil";
  std::filesystem::path dataFolder; // holds the word list
  std::filesystem::path workRoot;   // private work folders for message files go here
  std::chrono::milliseconds replyTimeout{10'000};
  // A bogofilter process serves requests of its kind until one of another kind comes, or until
  // it has been idle this long: a running bogofilter keeps the word list locked, and learning
  // is committed when its process ends. Zero: no process is kept between requests.
  std::chrono::milliseconds idleTimeout{1'000};
  std::size_t maxBatch = 500; // messages learned in one process at most
  // A new user's engine never calls a message junk before it has learned this many of each.
  std::int64_t minimumLearned = 10;
  std::function<void(const std::string&)> log; // one line per failure; default: stderr

  // Defaults from the environment: QUELLBARK_DATA_DIR / XDG_DATA_HOME for the data folder,
  // XDG_RUNTIME_DIR for the work root, QUELLBARK_BOGOFILTER and QUELLBARK_BOGOUTIL for the
  // programs.
  static EngineConfig fromEnvironment();
};

struct ScoreResult {
  EngineError error = EngineError::none;
  int score = 0; // 0..100; below 50 is good
};

using Clock = std::chrono::steady_clock;

struct EngineStatus {
  EngineError error = EngineError::none;
  std::filesystem::path bogofilter;
  std::string version;
  std::filesystem::path wordList;
  LearnedCounts learned;
};

// bogofilter as a long-lived service. Classifying processes, one per Classifier, run side by
// side (bogofilter shares its word list between readers); one learning process runs alone: it
// waits until no classifier is busy and ends them, and a score ends (commits) it first, so a
// score sees all learning asked for before it. Processes are kept alive between requests until
// idle. A failure is logged once, answered with its error, and the next request starts over.
// All members may be called from any thread.
class Engine {
public:
  // One bogofilter classifying process, used by one thread at a time.
  class Classifier {
  public:
    explicit Classifier(Engine& engine);
    ~Classifier();
    Classifier(const Classifier&) = delete;
    Classifier& operator=(const Classifier&) = delete;

    // Its bogofilter runs on these CPUs from the next score on.
    void runOn(const CpuSet& cpus) { mCpus = cpus; }

  private:
    friend class Engine;
    Engine& mEngine;
    std::unique_ptr<LineChild> mChild;
    std::optional<CpuSet> mCpus;           // wanted
    std::optional<CpuSet> mChildCpus;      // given to the running process
    std::unique_ptr<MessageFile> mMessage; // the message being scored
    Clock::time_point mLastUse;
    bool mBusy = false;
  };

  explicit Engine(EngineConfig config);
  ~Engine(); // commits learning still pending
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // A message is given whole, or as the parts it is made of, one after the other.
  ScoreResult score(std::string_view message); // with the engine's own classifier
  ScoreResult score(Classifier& classifier, std::span<const std::string_view> parts);
  // A message already learned as `verdict` is not counted again; one learned as the other
  // class is moved to this one.
  EngineError learn(Verdict verdict, std::string_view message);
  EngineError learn(Verdict verdict, std::span<const std::string_view> parts);
  EngineError commit(); // commits pending learning and ends the running bogofilter
  EngineStatus status();

private:
  using Lock = std::unique_lock<std::mutex>;

  EngineError prepare();
  EngineError useWorkFolder();
  EngineError readCounts();
  EngineError useSession(bogofilter::Mode mode);
  EngineError endSession();
  EngineError startClassifier(Classifier& classifier);
  void endClassifiers();
  bool anyProcessRuns() const;
  bool lockedElsewhere() const;
  EngineError startingProcess();
  ScoreResult finishScore(Classifier& classifier, LineChild::Read read, const std::string& line);
  EngineError fail(EngineError error, const std::string& detail);
  EngineError childFailure(const std::string& what);
  EngineError learnedAs(const std::string& digest, std::optional<Verdict>& verdict);
  std::filesystem::path learnedMessagesFile() const;
  std::string childErrors() const;
  void dropPending();
  void endWhenIdle(std::stop_token stop);

  EngineConfig mConfig;
  std::mutex mMutex;
  std::condition_variable_any mWake;
  std::condition_variable mTurn; // a classifier became free, or a learner stopped waiting
  std::vector<Classifier*> mClassifiers;
  std::size_t mBusy = 0;            // classifiers in an exchange with their process
  std::size_t mLearnersWaiting = 0; // learners waiting for the busy classifiers
  bool mCountsKnown = false;        // mLearned is current: read since our processes last ran
  bool mPrepared = false;
  std::filesystem::path mBogofilter;
  std::filesystem::path mBogoutil;
  std::unique_ptr<WorkFolder> mWork;
  unsigned long mMessageFiles = 0;   // made so far, for their names
  int mChildErrors = -1;             // file that receives the children's stderr
  std::unique_ptr<LineChild> mChild; // the learning process

  std::optional<bogofilter::Mode> mMode;
  std::unique_ptr<LearnedMessages> mLearnedMessages;
  struct Pending {
    std::filesystem::path file;
    std::string digest;
  };
  std::vector<Pending> mPending; // learned but not yet committed
  Clock::time_point mLastUse;
  LearnedCounts mLearned;
  std::unique_ptr<Classifier> mOwnClassifier;
  std::jthread mIdleWatch; // last: it uses everything above
};

} // namespace quellbark
