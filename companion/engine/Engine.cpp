#include "Engine.h"

#include "Locations.h"
#include "MessageDigest.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace quellbark {

using bogofilter::Mode;

namespace {

const char* nameOf(Mode mode) {
  switch (mode) {
  case Mode::classify:
    return "classifying";
  case Mode::learnSpam:
    return "learning spam";
  case Mode::learnGood:
    return "learning good mail";
  case Mode::moveToSpam:
    return "moving good mail to spam";
  case Mode::moveToGood:
    return "moving spam to good mail";
  }
  return "?";
}

bool learnsSpam(Mode mode) {
  return mode == Mode::learnSpam || mode == Mode::moveToSpam;
}

Mode learningMode(Verdict verdict, std::optional<Verdict> learnedBefore) {
  if (verdict == Verdict::spam) {
    return learnedBefore ? Mode::moveToSpam : Mode::learnSpam;
  }
  return learnedBefore ? Mode::moveToGood : Mode::learnGood;
}

std::string describeExit(const ExitStatus& status) {
  if (!status.finished) {
    return "did not end in time";
  }
  if (status.signal != 0) {
    return "was killed by signal " + std::to_string(status.signal);
  }
  return "exited with status " + std::to_string(status.code);
}

void removeFile(const fs::path& file) {
  std::error_code ec;
  fs::remove(file, ec);
}

} // namespace

EngineConfig EngineConfig::fromEnvironment() {
  EngineConfig config;
  if (const char* p = std::getenv("QUELLBARK_BOGOFILTER"); p != nullptr && *p != '\0') {
    config.bogofilter = p;
  }
  if (const char* p = std::getenv("QUELLBARK_BOGOUTIL"); p != nullptr && *p != '\0') {
    config.bogoutil = p;
  }
  config.dataFolder = defaultDataFolder();
  config.workRoot = defaultWorkRoot(config.dataFolder);
  return config;
}

Engine::Engine(EngineConfig config) : mConfig(std::move(config)) {
  if (!mConfig.log) {
    mConfig.log = [](const std::string& line) {
      std::fprintf(stderr, "Quellbark: %s\n", line.c_str());
    };
  }
  mOwnClassifier = std::make_unique<Classifier>(*this);
  mIdleWatch = std::jthread([this](std::stop_token stop) { endWhenIdle(stop); });
}

Engine::~Engine() {
  mIdleWatch.request_stop();
  mWake.notify_all();
  if (mIdleWatch.joinable()) {
    mIdleWatch.join();
  }
  mOwnClassifier.reset();
  Lock lock(mMutex);
  endSession();
  if (mChildErrors >= 0) {
    ::close(mChildErrors);
  }
}

Engine::Classifier::Classifier(Engine& engine) : mEngine(engine) {
  std::lock_guard lock(mEngine.mMutex);
  mEngine.mClassifiers.push_back(this);
}

Engine::Classifier::~Classifier() {
  std::lock_guard lock(mEngine.mMutex);
  std::erase(mEngine.mClassifiers, this);
  mChild.reset();
}

EngineError Engine::fail(EngineError error, const std::string& detail) {
  mConfig.log(std::string(describe(error)) + ": " + detail);
  if (mChild) {
    mChild->kill();
    mChild.reset();
  }
  mMode.reset();
  dropPending();
  mPrepared = false; // the next request checks everything again and restarts the engine
  return error;
}

void Engine::dropPending() {
  for (const auto& pending : mPending) {
    removeFile(pending.file);
  }
  mPending.clear();
}

std::string Engine::childErrors() const {
  if (!mWork) {
    return {};
  }
  std::ifstream in(mWork->path() / "engine-errors.txt");
  std::stringstream text;
  text << in.rdbuf();
  return bogofilter::lastLine(text.str());
}

// A work folder removed behind our back (by a cleaner of the runtime folder) is made again.
EngineError Engine::useWorkFolder() {
  if (!mWork || !mWork->valid() || !fs::is_directory(mWork->path())) {
    if (mChildErrors >= 0) {
      ::close(mChildErrors);
      mChildErrors = -1;
    }
    mWork = std::make_unique<WorkFolder>(mConfig.workRoot);
    if (!mWork->valid()) {
      return fail(EngineError::workFolderUnusable,
                  "cannot make a private folder in " + mConfig.workRoot.string());
    }
  }
  if (mChildErrors < 0) {
    fs::path const errors = mWork->path() / "engine-errors.txt";
    mChildErrors = ::open(errors.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (mChildErrors < 0) {
      return fail(EngineError::workFolderUnusable, "cannot write " + errors.string());
    }
  }
  return EngineError::none;
}

EngineError Engine::prepare() {
  if (mPrepared) {
    return EngineError::none;
  }
  mBogofilter = resolveProgram(mConfig.bogofilter);
  if (mBogofilter.empty()) {
    return fail(EngineError::engineMissing, "no program '" + mConfig.bogofilter + "' to run");
  }
  mBogoutil = resolveProgram(mConfig.bogoutil);
  if (mBogoutil.empty()) {
    return fail(EngineError::engineMissing, "no program '" + mConfig.bogoutil + "' to run");
  }
  if (!ensurePrivateFolder(mConfig.dataFolder)) {
    return fail(EngineError::wordListUnusable,
                "cannot make the data folder " + mConfig.dataFolder.string() + " private");
  }
  if (const EngineError e = useWorkFolder(); e != EngineError::none) {
    return e;
  }
  fs::path const wordList = bogofilter::wordListFile(mConfig.dataFolder);
  if (!fs::exists(wordList)) {
    // The record of learned messages describes the word list that has gone.
    mLearnedMessages.reset();
    removeFile(learnedMessagesFile());
    removeFile(learnedMessagesFile().string() + "-journal");
    const ProgramRun run =
        runProgram(bogofilter::createCommand(mBogoutil, mConfig.dataFolder), mConfig.replyTimeout);
    if (run.spawnError != 0) {
      return fail(EngineError::engineMissing,
                  mBogoutil.string() + " cannot be started: " + std::strerror(run.spawnError));
    }
    if (!run.exit.succeeded()) {
      return fail(EngineError::wordListUnusable,
                  "creating " + wordList.string() + " failed: " + bogofilter::lastLine(run.err));
    }
    ::chmod(wordList.c_str(), 0600);
  }
  mPrepared = true;
  return EngineError::none;
}

EngineError Engine::readCounts() {
  const ProgramRun run =
      runProgram(bogofilter::countCommand(mBogoutil, mConfig.dataFolder), mConfig.replyTimeout);
  if (run.spawnError != 0) {
    return fail(EngineError::engineMissing,
                mBogoutil.string() + " cannot be started: " + std::strerror(run.spawnError));
  }
  if (bogofilter::reportsLocked(run.err) || !run.exit.finished) {
    return fail(EngineError::wordListLocked,
                "another process is using " +
                    bogofilter::wordListFile(mConfig.dataFolder).string());
  }
  const std::optional<LearnedCounts> counts = bogofilter::parseMessageCount(run.out);
  if (!run.exit.succeeded() || !counts) {
    return fail(EngineError::wordListUnusable,
                "reading " + bogofilter::wordListFile(mConfig.dataFolder).string() +
                    " failed: " + bogofilter::lastLine(run.err));
  }
  mLearned = *counts;
  mCountsKnown = true;
  return EngineError::none;
}

bool Engine::anyProcessRuns() const {
  return mChild || std::any_of(mClassifiers.begin(), mClassifiers.end(),
                               [](const Classifier* c) { return c->mChild != nullptr; });
}

// bogofilter keeps a read lock on the word list while it classifies and a write lock while it
// learns, and would wait for a write lock held elsewhere; asking the kernel says so at once.
// Ours never counts: our learner has ended before a classifier starts. A learner waits behind
// other programs' classifiers, as bogofilter does.
bool Engine::lockedElsewhere() const {
  const int fd = ::open(bogofilter::wordListFile(mConfig.dataFolder).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return false; // bogofilter itself reports what is wrong with the file
  }
  struct flock probe {};
  probe.l_type = F_RDLCK;
  probe.l_whence = SEEK_SET;
  const bool locked = ::fcntl(fd, F_GETLK, &probe) == 0 && probe.l_type != F_UNLCK;
  ::close(fd);
  return locked;
}

// Before a process of ours starts. While none runs, other programs may have learned, so the
// counts are read again when next needed.
EngineError Engine::startingProcess() {
  if (!anyProcessRuns()) {
    mCountsKnown = false;
    if (::ftruncate(mChildErrors, 0) != 0) {
      return fail(EngineError::workFolderUnusable, "cannot reset the engine's error file");
    }
  }
  if (lockedElsewhere()) {
    return fail(EngineError::wordListLocked,
                "another process is using " +
                    bogofilter::wordListFile(mConfig.dataFolder).string());
  }
  return EngineError::none;
}

EngineError Engine::useSession(Mode mode) {
  if (mChild && mMode == mode) {
    return EngineError::none;
  }
  if (const EngineError e = endSession(); e != EngineError::none) {
    return e;
  }
  if (const EngineError e = startingProcess(); e != EngineError::none) {
    return e;
  }
  int spawnError = 0;
  mChild = LineChild::start(bogofilter::bulkCommand(mBogofilter, mConfig.dataFolder, mode),
                            mChildErrors, spawnError);
  if (!mChild) {
    const bool missing = spawnError == ENOENT || spawnError == EACCES || spawnError == ENOEXEC;
    return fail(missing ? EngineError::engineMissing : EngineError::engineFailed,
                mBogofilter.string() + " cannot be started: " + std::strerror(spawnError));
  }
  mMode = mode;
  mWake.notify_all(); // the idle watch starts timing the new process
  return EngineError::none;
}

// Ends the running process. For learning this is the commit: bogofilter writes the batch to
// the word list as it ends, and only a clean end counts.
EngineError Engine::endSession() {
  if (!mChild) {
    return EngineError::none;
  }
  const ExitStatus status = mChild->finish(Clock::now() + mConfig.replyTimeout);
  const Mode mode = *mMode;
  mChild.reset();
  mMode.reset();
  if (mode == Mode::classify) {
    return EngineError::none; // its exit code is the last verdict, not a failure
  }
  std::size_t const batch = mPending.size();
  if (!status.succeeded()) {
    return childFailure("bogofilter " + std::string(nameOf(mode)) + " " + describeExit(status) +
                        "; " + std::to_string(batch) + " message(s) not learned");
  }
  const auto count = static_cast<std::int64_t>(batch); // (counts not yet read are read later)
  (learnsSpam(mode) ? mLearned.spam : mLearned.good) += count;
  if (mode == Mode::moveToSpam || mode == Mode::moveToGood) {
    (learnsSpam(mode) ? mLearned.good : mLearned.spam) -= count;
  }
  std::vector<std::string> digests;
  for (const auto& pending : mPending) {
    digests.push_back(pending.digest);
  }
  dropPending();
  // The word list has learned the batch either way; only recognising these again is lost.
  if (mLearnedMessages &&
      !mLearnedMessages->record(digests, learnsSpam(mode) ? Verdict::spam : Verdict::good)) {
    mConfig.log(mLearnedMessages->error());
  }
  return EngineError::none;
}

// A child that died or hung: a lock held elsewhere makes bogofilter wait, so a hang is told
// apart by asking the kernel; a word list bogoutil cannot read either is unusable.
EngineError Engine::childFailure(const std::string& what) {
  std::string const errors = childErrors();
  if (mChild) {
    mChild->kill();
    mChild.reset();
  }
  mMode.reset();
  if (lockedElsewhere()) {
    return fail(EngineError::wordListLocked, what + " (word list locked by another process)");
  }
  if (const EngineError e = readCounts(); e != EngineError::none) {
    return e;
  }
  return fail(EngineError::engineFailed, errors.empty() ? what : what + ": " + errors);
}

EngineError Engine::startClassifier(Classifier& classifier) {
  // Made again with each process, when a process that could not open it may have ended.
  if (const EngineError e = useWorkFolder(); e != EngineError::none) {
    return e;
  }
  classifier.mMessage = std::make_unique<MessageFile>(
      mWork->path(), "scoring-" + std::to_string(++mMessageFiles) + ".eml");
  if (!classifier.mMessage->valid()) {
    const std::string problem = std::strerror(errno);
    classifier.mMessage.reset();
    return fail(EngineError::workFolderUnusable,
                "cannot make a message file in " + mWork->path().string() + ": " + problem);
  }
  if (const EngineError e = startingProcess(); e != EngineError::none) {
    return e;
  }
  // It runs in the work folder and is given the message file's name alone: a path walk of
  // one step for each of its two stats and its open.
  std::error_code ec;
  int spawnError = 0;
  classifier.mChild = LineChild::start(bogofilter::bulkCommand(fs::absolute(mBogofilter, ec),
                                                               fs::absolute(mConfig.dataFolder, ec),
                                                               Mode::classify),
                                       mChildErrors, spawnError, mWork->path().string());
  classifier.mChildCpus.reset();
  if (!classifier.mChild) {
    const bool missing = spawnError == ENOENT || spawnError == EACCES || spawnError == ENOEXEC;
    return fail(missing ? EngineError::engineMissing : EngineError::engineFailed,
                mBogofilter.string() + " cannot be started: " + std::strerror(spawnError));
  }
  mWake.notify_all(); // the idle watch starts timing the new process
  return EngineError::none;
}

// Idle classifiers end so that a learner can take the word list; none is busy when called.
void Engine::endClassifiers() {
  for (Classifier* classifier : mClassifiers) {
    if (classifier->mChild) {
      classifier->mChild->finish(Clock::now() + mConfig.replyTimeout);
      classifier->mChild.reset();
    }
  }
}

ScoreResult Engine::score(std::string_view message) {
  return score(*mOwnClassifier, std::span(&message, 1));
}

// The exchange with the classifying process runs unlocked, beside other classifiers'.
ScoreResult Engine::score(Classifier& classifier, std::span<const std::string_view> parts) {
  Lock lock(mMutex);
  if (const EngineError e = prepare(); e != EngineError::none) {
    return {e, 0};
  }
  for (bool mayRetry = true;; mayRetry = false) {
    mTurn.wait(lock, [this] { return mLearnersWaiting == 0; });
    if (const EngineError e = endSession(); e != EngineError::none) { // learning asked before
      return {e, 0};
    }
    const bool reused = classifier.mChild != nullptr;
    if (!reused) {
      if (const EngineError e = startClassifier(classifier); e != EngineError::none) {
        return {e, 0};
      }
    }
    classifier.mBusy = true;
    ++mBusy;
    lock.unlock();
    if (classifier.mCpus && classifier.mCpus != classifier.mChildCpus &&
        classifier.mCpus->applyTo(classifier.mChild->pid())) {
      classifier.mChildCpus = classifier.mCpus;
    }
    std::string line;
    LineChild::Read read = LineChild::Read::endOfOutput;
    const bool held = classifier.mMessage->hold(parts);
    const std::string& file = classifier.mMessage->name();
    if (held && classifier.mChild->sendLine(file)) {
      read = classifier.mChild->readLine(line, Clock::now() + mConfig.replyTimeout);
    }
    lock.lock();
    classifier.mBusy = false;
    --mBusy;
    classifier.mLastUse = Clock::now();
    mTurn.notify_all();
    if (!held) {
      return {fail(EngineError::workFolderUnusable,
                   std::string("cannot write the message file: ") + std::strerror(errno)),
              0};
    }
    if (read == LineChild::Read::endOfOutput && reused && mayRetry) {
      classifier.mChild.reset(); // it ended while idle: start a fresh one once
      continue;
    }
    ScoreResult const result = finishScore(classifier, read, line);
    if (mConfig.idleTimeout.count() <= 0 && classifier.mChild) {
      classifier.mChild->finish(Clock::now() + mConfig.replyTimeout);
      classifier.mChild.reset();
    }
    return result;
  }
}

ScoreResult Engine::finishScore(Classifier& classifier, LineChild::Read read,
                                const std::string& line) {
  const auto failed = [&](const std::string& what) {
    classifier.mChild.reset();
    return ScoreResult{childFailure(what), 0};
  };
  if (read == LineChild::Read::deadlinePassed) {
    return failed("bogofilter gave no answer within " +
                  std::to_string(mConfig.replyTimeout.count()) + " ms");
  }
  if (read == LineChild::Read::endOfOutput) {
    const ExitStatus status = classifier.mChild->finish(Clock::now() + mConfig.replyTimeout);
    return failed("bogofilter classifying " + describeExit(status));
  }
  const std::optional<double> spamicity =
      bogofilter::parseBulkLine(line, classifier.mMessage->name());
  if (!spamicity) {
    classifier.mChild.reset();
    return {fail(EngineError::engineFailed, "bogofilter answered \"" + line + "\""), 0};
  }
  const int raw = scoreFromSpamicity(*spamicity);
  // The counts matter only to a score the new-user cap may lower.
  if (raw >= 50 && !mCountsKnown) {
    if (const EngineError e = readCounts(); e != EngineError::none) {
      return {e, 0};
    }
  }
  return {EngineError::none, applyNewUserCap(raw, mLearned, mConfig.minimumLearned)};
}

// The class a message counts in now: as the batch being learned says, else as recorded. A
// record that cannot be read refuses the request but spares the batch in progress.
EngineError Engine::learnedAs(const std::string& digest, std::optional<Verdict>& verdict) {
  verdict.reset();
  if (mMode && *mMode != Mode::classify) {
    for (const auto& pending : mPending) {
      if (pending.digest == digest) {
        verdict = learnsSpam(*mMode) ? Verdict::spam : Verdict::good;
        return EngineError::none;
      }
    }
  }
  if (!mLearnedMessages) {
    auto record = std::make_unique<LearnedMessages>(learnedMessagesFile());
    if (!record->open()) {
      mConfig.log(std::string(describe(EngineError::wordListUnusable)) + ": " + record->error());
      return EngineError::wordListUnusable;
    }
    mLearnedMessages = std::move(record);
  }
  if (!mLearnedMessages->find(digest, verdict)) {
    mConfig.log(std::string(describe(EngineError::wordListUnusable)) + ": " +
                mLearnedMessages->error());
    return EngineError::wordListUnusable;
  }
  return EngineError::none;
}

fs::path Engine::learnedMessagesFile() const {
  return mConfig.dataFolder / "learned-messages.sqlite";
}

EngineError Engine::learn(Verdict verdict, std::string_view message) {
  return learn(verdict, std::span(&message, 1));
}

EngineError Engine::learn(Verdict verdict, std::span<const std::string_view> parts) {
  Lock lock(mMutex);
  if (const EngineError e = prepare(); e != EngineError::none) {
    return e;
  }
  std::string digest = messageDigest(parts);
  std::optional<Verdict> before;
  if (const EngineError e = learnedAs(digest, before); e != EngineError::none) {
    return e;
  }
  if (before == verdict) {
    return EngineError::none; // already counted as this
  }
  if (const EngineError e = useWorkFolder(); e != EngineError::none) {
    return e;
  }
  fs::path const file = mWork->writeMessage(parts);
  if (file.empty()) {
    return fail(EngineError::workFolderUnusable,
                "cannot write a message file in " + mWork->path().string());
  }
  const Mode mode = learningMode(verdict, before);
  if (!(mChild && mMode == mode)) {
    // The learner takes the word list alone: it waits for busy classifiers, and new scores
    // wait for it.
    ++mLearnersWaiting;
    mTurn.wait(lock, [this] { return mBusy == 0; });
    --mLearnersWaiting;
    mTurn.notify_all();
    endClassifiers();
  }
  if (const EngineError e = useSession(mode); e != EngineError::none) {
    removeFile(file);
    return e;
  }
  mPending.push_back({file, std::move(digest)});
  if (!mChild->sendLine(file.string())) {
    const ExitStatus status = mChild->finish(Clock::now() + mConfig.replyTimeout);
    return childFailure("bogofilter " + std::string(nameOf(mode)) + " " + describeExit(status));
  }
  mLastUse = Clock::now();
  if (mPending.size() >= mConfig.maxBatch || mConfig.idleTimeout.count() <= 0) {
    return endSession();
  }
  return EngineError::none;
}

EngineError Engine::commit() {
  Lock lock(mMutex);
  return endSession();
}

EngineStatus Engine::status() {
  Lock lock(mMutex);
  EngineStatus status;
  status.wordList = bogofilter::wordListFile(mConfig.dataFolder);
  status.error = prepare();
  status.bogofilter = mBogofilter;
  if (status.error == EngineError::none) {
    status.error = endSession();
  }
  if (status.error == EngineError::none) {
    status.error = readCounts();
  }
  if (!mBogofilter.empty()) {
    const ProgramRun run = runProgram({mBogofilter.string(), "-V"}, mConfig.replyTimeout);
    status.version = bogofilter::lastLine(run.out.substr(0, run.out.find('\n')));
  }
  status.learned = mLearned;
  return status;
}

void Engine::endWhenIdle(std::stop_token stop) {
  Lock lock(mMutex);
  while (!stop.stop_requested()) {
    if (!anyProcessRuns()) {
      mWake.wait(lock, stop, [&] { return anyProcessRuns(); });
      continue;
    }
    Clock::time_point const now = Clock::now();
    Clock::time_point next = Clock::time_point::max();
    if (mChild) {
      if (now >= mLastUse + mConfig.idleTimeout) {
        endSession();
      } else {
        next = mLastUse + mConfig.idleTimeout;
      }
    }
    for (Classifier* classifier : mClassifiers) {
      if (!classifier->mChild || classifier->mBusy) {
        continue;
      }
      Clock::time_point const due = classifier->mLastUse + mConfig.idleTimeout;
      if (now >= due) {
        classifier->mChild->finish(now + mConfig.replyTimeout);
        classifier->mChild.reset();
      } else {
        next = std::min(next, due);
      }
    }
    if (next == Clock::time_point::max()) {
      // Only busy classifiers: look again a while after they were last used (not at once, even
      // without an idle time, which would spin while they work).
      next = now + std::max(mConfig.idleTimeout, std::chrono::milliseconds(10));
    }
    mWake.wait_until(lock, stop, next, [] { return false; });
  }
}

} // namespace quellbark
