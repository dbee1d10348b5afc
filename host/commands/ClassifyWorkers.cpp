#include "ClassifyWorkers.h"

#include "MailError.h"
#include "WorkerProtocol.h"
#include "runtime/CpuPin.h"
#include "runtime/SecondStart.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <unordered_map>

namespace mailhost {

namespace {

// SIGINT and SIGTERM, while a run lasts, become a byte on a pipe the run polls; a second one
// has its usual effect.
int gSignalPipe = -1;

extern "C" void noteSignal(int signal) {
  int saved = errno;
  char byte = static_cast<char>(signal);
  [[maybe_unused]] ssize_t written = ::write(gSignalPipe, &byte, 1);
  struct sigaction usual {};
  usual.sa_handler = SIG_DFL;
  ::sigaction(signal, &usual, nullptr);
  errno = saved;
}

class SignalsToPipe {
public:
  SignalsToPipe() {
    if (::pipe2(mPipe, O_CLOEXEC | O_NONBLOCK) != 0)
      throw std::runtime_error(std::string("cannot make a pipe: ") + std::strerror(errno));
    gSignalPipe = mPipe[1];
    struct sigaction noting {};
    noting.sa_handler = noteSignal;
    noting.sa_flags = SA_RESTART; // the output's writes go on; poll() sees the pipe
    ::sigemptyset(&noting.sa_mask);
    ::sigaction(SIGINT, &noting, &mOldInt);
    ::sigaction(SIGTERM, &noting, &mOldTerm);
  }
  ~SignalsToPipe() {
    ::sigaction(SIGINT, &mOldInt, nullptr);
    ::sigaction(SIGTERM, &mOldTerm, nullptr);
    gSignalPipe = -1;
    ::close(mPipe[0]);
    ::close(mPipe[1]);
  }
  SignalsToPipe(const SignalsToPipe&) = delete;
  SignalsToPipe& operator=(const SignalsToPipe&) = delete;

  int fd() const { return mPipe[0]; }
  int received() const { // the signal, 0 if none
    char byte = 0;
    return ::read(mPipe[0], &byte, 1) == 1 ? byte : 0;
  }

private:
  int mPipe[2] = {-1, -1};
  struct sigaction mOldInt {};
  struct sigaction mOldTerm {};
};

std::string describeStatus(int status) {
  if (WIFSIGNALED(status))
    return std::string("killed by signal ") + std::to_string(WTERMSIG(status)) + " (" +
           ::strsignal(WTERMSIG(status)) + ")";
  if (WIFEXITED(status))
    return "ended with status " + std::to_string(WEXITSTATUS(status));
  return "ended";
}

// A worker that closed its socket is ending: given a few seconds, then made to.
int reap(pid_t pid) {
  int status = 0;
  for (int tries = 0; tries < 500; ++tries) {
    pid_t done = ::waitpid(pid, &status, WNOHANG);
    if (done == pid || (done < 0 && errno != EINTR))
      return status;
    ::usleep(10'000);
  }
  ::kill(pid, SIGKILL);
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

using Numbered = std::pair<std::size_t, ClassifyOutcome>; // place in the run, outcome

struct Worker {
  pid_t pid = -1;
  int fd = -1;
  int cpu = -1; // the CPU its exchanges are held to; none when negative
  FrameReader reader;
  std::deque<std::vector<Numbered>> held; // the batches sent and not yet answered, in order
  bool answered = false;
};

// One run's state: the queue, the workers, and the outcomes waiting for their turn.
class WorkerRun {
public:
  WorkerRun(std::size_t jobs, const std::vector<std::string>& command, const MailStore& mail,
            JunkStore& store, std::ostream& diagnostics, bool reclassify,
            const ClassifyRun::BatchCallback& onBatch, const ClassifyRun::StoredCallback& onStored,
            const ClassifyRun::ProgressCallback& onProgress)
      : mJobs(jobs), mCommand(command), mMail(mail), mStore(store), mDiagnostics(diagnostics),
        mReclassify(reclassify), mOnBatch(onBatch), mOnStored(onStored), mOnProgress(onProgress) {}
  // Reached with workers left only when the run ends by an exception (output that cannot be
  // written): they are ended, their messages never reported.
  ~WorkerRun() {
    for (const auto& worker : mWorkers) {
      ::kill(worker->pid, SIGTERM);
      ::close(worker->fd);
      reap(worker->pid);
    }
  }
  WorkerRun(const WorkerRun&) = delete;
  WorkerRun& operator=(const WorkerRun&) = delete;

  ClassifyReport run(const std::vector<std::filesystem::path>& folders);

private:
  void list(const std::vector<std::filesystem::path>& folders);
  ClassifyOutcome outcomeAt(std::size_t place) const;
  bool hasWork() const { return !mRetry.empty() || mNextFresh < mTotal; }
  std::vector<Numbered> nextBatch();
  void startWorker();
  int cpuForNextWorker() const;
  void feed(Worker& worker);
  void receive(Worker& worker);
  void answer(Worker& worker, const std::string& payload);
  void lose(Worker& worker, const std::string& why, bool replace);
  void halt(std::string why, bool leftOut);
  std::string haltError() const {
    return (mHaltLeavesOut ? "left out: " : "not classified: ") + mHaltReason;
  }
  void finish(std::size_t place, ClassifyOutcome outcome, bool leftOut = false);
  void handOn();
  void drainAfterHalt();

  std::size_t mJobs;
  const std::vector<std::string>& mCommand;
  const std::vector<int> mCpus = cpusOfThisProcess();
  const MailStore& mMail;
  JunkStore& mStore;
  std::ostream& mDiagnostics;
  bool mReclassify;
  const ClassifyRun::BatchCallback& mOnBatch;
  const ClassifyRun::StoredCallback& mOnStored;
  const ClassifyRun::ProgressCallback& mOnProgress;

  ClassifyReport mReport;
  std::vector<std::pair<std::string, FolderListing>> mListings;
  std::vector<std::size_t> mStarts; // place of each listing's first message
  std::size_t mTotal = 0;
  std::size_t mBatchSize = ClassifyWorkers::kMinBatchSize;
  std::size_t mNextFresh = 0;
  std::map<std::size_t, ClassifyOutcome> mRetry; // back from a worker that died
  std::unordered_map<std::size_t, int> mDeaths;  // worker deaths a message has seen
  std::map<std::size_t, std::pair<ClassifyOutcome, bool>> mFinished; // waiting for their turn
  std::size_t mNextHandedOn = 0;
  std::size_t mDone = 0;
  std::vector<std::unique_ptr<Worker>> mWorkers;
  std::size_t mFailedStarts = 0;
  bool mHalted = false;
  std::string mHaltReason;
  bool mHaltLeavesOut = false;
};

void WorkerRun::list(const std::vector<std::filesystem::path>& folders) {
  for (const std::filesystem::path& folder : folders) {
    try {
      FolderListing listing = mMail.list(folder);
      mStarts.push_back(mTotal);
      mTotal += listing.size();
      mListings.emplace_back(folder.string(), std::move(listing));
    } catch (const MailError& error) {
      mReport.errors.push_back(std::string("cannot read folder ") + error.what());
    }
  }
  mReport.messages = mTotal;
}

ClassifyOutcome WorkerRun::outcomeAt(std::size_t place) const {
  std::size_t which =
      static_cast<std::size_t>(std::upper_bound(mStarts.begin(), mStarts.end(), place) -
                               mStarts.begin()) -
      1;
  const auto& [name, listing] = mListings[which];
  std::size_t i = place - mStarts[which];
  return {listing.at(i).uri,
          name,
          ClassifyOutcome::Verdict::Unclassified,
          JunkOrigin::Plugin,
          {},
          listing.fileAt(i),
          {},
          {}};
}

// The next messages for a worker: those back from a worker that died first, then the next of
// the folders. The user's own verdicts are settled here and never sent.
std::vector<Numbered> WorkerRun::nextBatch() {
  // Batches shrink as the queue runs out, to a quarter of what is left per worker, so that the
  // workers end together rather than one waiting out the other's last full batch.
  std::size_t left = mRetry.size() + (mTotal - mNextFresh);
  const std::size_t size =
      std::clamp(left / (4 * mJobs), ClassifyWorkers::kMinBatchSize, mBatchSize);
  std::vector<Numbered> batch;
  while (batch.size() < size && hasWork()) {
    if (!mRetry.empty()) {
      batch.emplace_back(mRetry.begin()->first, std::move(mRetry.begin()->second));
      mRetry.erase(mRetry.begin());
      continue;
    }
    // The next fresh messages, their stored verdicts read in one transaction.
    std::vector<Numbered> fresh;
    std::vector<std::string> uris;
    while (fresh.size() < size - batch.size() && mNextFresh < mTotal) {
      std::size_t place = mNextFresh++;
      fresh.emplace_back(place, outcomeAt(place));
      uris.push_back(fresh.back().second.uri);
    }
    std::vector<std::optional<JunkStatus>> stored(fresh.size());
    if (!mReclassify)
      stored = mStore.findUsersVerdicts(uris);
    for (std::size_t i = 0; i < fresh.size(); ++i) {
      auto& [place, outcome] = fresh[i];
      if (keepUsersVerdict(stored[i], outcome)) {
        finish(place, std::move(outcome));
      } else {
        batch.emplace_back(place, std::move(outcome));
      }
    }
  }
  return batch;
}

void WorkerRun::finish(std::size_t place, ClassifyOutcome outcome, bool leftOut) {
  ++mDone;
  mFinished.emplace(place, std::make_pair(std::move(outcome), leftOut));
}

// The outcomes whose turn has come, counted and handed on in folder order.
void WorkerRun::handOn() {
  std::vector<ClassifyOutcome> batch;
  for (auto it = mFinished.begin(); it != mFinished.end() && it->first == mNextHandedOn;
       it = mFinished.erase(it), ++mNextHandedOn) {
    auto& [outcome, leftOut] = it->second;
    switch (outcome.verdict) {
    case ClassifyOutcome::Verdict::Junk:
      ++mReport.junk;
      break;
    case ClassifyOutcome::Verdict::Good:
      ++mReport.good;
      break;
    case ClassifyOutcome::Verdict::Unverified:
      ++mReport.unverified;
      mReport.unverifiedWhy = outcome.error;
      break;
    default:
      ++mReport.unclassified;
      if (leftOut)
        ++mReport.stoppedUnclassified;
    }
    batch.push_back(std::move(outcome));
  }
  if (batch.empty())
    return;
  if (mOnStored)
    mOnStored(batch, mReport);
  if (mOnBatch)
    mOnBatch(batch);
  if (mOnProgress)
    mOnProgress(mDone, mTotal);
}

void WorkerRun::startWorker() {
  int sockets[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
    ++mFailedStarts;
    mDiagnostics << "mailhost: cannot start a worker: " << std::strerror(errno) << "\n";
    return;
  }
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
  ::posix_spawn_file_actions_init(&files);
  ::posix_spawn_file_actions_adddup2(&files, sockets[1], STDIN_FILENO);
  // The results are this process's alone to write: a worker's standard output is its stderr.
  ::posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
  ::posix_spawnattr_init(&attributes);
  sigset_t usual;
  ::sigemptyset(&usual);
  for (int signal : {SIGINT, SIGTERM, SIGPIPE})
    ::sigaddset(&usual, signal);
  ::posix_spawnattr_setsigdefault(&attributes, &usual);
  // A Ctrl-C at the terminal reaches this process alone, which ends the workers in order.
  ::posix_spawnattr_setpgroup(&attributes, 0);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  int cpu = cpuForNextWorker();
  std::vector<std::string> command = mCommand;
  if (cpu >= 0)
    command.insert(command.end(), {"--cpu", std::to_string(cpu)});
  std::vector<char*> argv;
  for (const std::string& argument : command)
    argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  // The host's own allocator settings already set: a worker starts once, not twice.
  std::vector<std::string> environment = environmentForAnotherHost();
  std::vector<char*> envp;
  for (std::string& entry : environment)
    envp.push_back(entry.data());
  envp.push_back(nullptr);
  pid_t pid = -1;
  int failed = ::posix_spawn(&pid, argv[0], &files, &attributes, argv.data(), envp.data());
  ::posix_spawn_file_actions_destroy(&files);
  ::posix_spawnattr_destroy(&attributes);
  ::close(sockets[1]);
  if (failed != 0) {
    ::close(sockets[0]);
    ++mFailedStarts;
    mDiagnostics << "mailhost: cannot start a worker: " << std::strerror(failed) << "\n";
    return;
  }
  auto worker = std::make_unique<Worker>();
  worker->pid = pid;
  worker->fd = sockets[0];
  worker->cpu = cpu;
  mWorkers.push_back(std::move(worker));
}

// Each worker's exchanges (its host, its Quellbark thread, their bogofilter) take turns on one
// CPU of their own, so that a hand-over is a switch there rather than a wake-up of another CPU:
// the CPU with the fewest live workers, the first such. None on a single CPU.
int WorkerRun::cpuForNextWorker() const {
  if (mCpus.size() < 2)
    return -1;
  int best = -1;
  std::size_t fewest = 0;
  for (int cpu : mCpus) {
    std::size_t on = static_cast<std::size_t>(
        std::count_if(mWorkers.begin(), mWorkers.end(),
                      [&](const std::unique_ptr<Worker>& worker) { return worker->cpu == cpu; }));
    if (best < 0 || on < fewest) {
      best = cpu;
      fewest = on;
    }
  }
  return best;
}

void WorkerRun::feed(Worker& worker) {
  while (!mHalted && worker.held.size() < ClassifyWorkers::kBatchesPerWorker) {
    std::vector<Numbered> batch = nextBatch();
    if (batch.empty())
      return;
    WorkerRequest request;
    for (const Numbered& message : batch)
      request.uris.push_back(message.second.uri);
    worker.held.push_back(std::move(batch)); // given back if the worker turns out to be gone
    if (!sendAll(worker.fd, encodeRequest(request)))
      return; // its end of the socket is closed: found when it is read
  }
}

void WorkerRun::receive(Worker& worker) {
  char bytes[65536];
  ssize_t count = ::read(worker.fd, bytes, sizeof bytes);
  if (count < 0 && errno == EINTR)
    return;
  if (count <= 0) {
    lose(worker, "", !mHalted);
    return;
  }
  worker.reader.append(bytes, static_cast<std::size_t>(count));
  try {
    while (std::optional<std::string> payload = worker.reader.next())
      answer(worker, *payload);
  } catch (const ProtocolError& error) {
    ::kill(worker.pid, SIGKILL);
    lose(worker, std::string("sent a bad reply (") + error.what() + ")", !mHalted);
  }
}

void WorkerRun::answer(Worker& worker, const std::string& payload) {
  WorkerReply reply = decodeReply(payload);
  if (worker.held.empty())
    throw ProtocolError("a reply to no request");
  std::vector<Numbered>& batch = worker.held.front();
  if (reply.results.size() != batch.size())
    throw ProtocolError("a reply of the wrong length");
  for (std::size_t i = 0; i < batch.size(); ++i)
    if (reply.results[i].uri != batch[i].second.uri)
      throw ProtocolError("a reply about other messages");

  std::vector<JunkStatus> verdicts;
  for (std::size_t i = 0; i < batch.size(); ++i) {
    auto& [place, outcome] = batch[i];
    outcome.verdict = reply.results[i].verdict;
    outcome.error = reply.results[i].error;
    bool junk = outcome.verdict == ClassifyOutcome::Verdict::Junk;
    if ((junk || outcome.verdict == ClassifyOutcome::Verdict::Good) && outcome.error.empty())
      verdicts.push_back({outcome.uri, junk ? 100 : 0, JunkOrigin::Plugin, 0, true});
    finish(place, std::move(outcome), reply.results[i].leftOut);
  }
  worker.held.pop_front();
  worker.answered = true;
  mFailedStarts = 0;
  try {
    mStore.record(verdicts); // one transaction per batch
  } catch (const JunkStoreError& error) {
    for (const JunkStatus& status : verdicts)
      mReport.errors.push_back("cannot store the verdict on " + status.uri + ": " + error.what());
  }
  mReport.errors.insert(mReport.errors.end(), reply.errors.begin(), reply.errors.end());
  if (!reply.stopReason.empty())
    halt(reply.stopReason, true);
}

// A worker is gone (or made to go): what it held goes to the queue once more, or, for a message
// whose worker died before, is reported unclassified.
void WorkerRun::lose(Worker& worker, const std::string& why, bool replace) {
  ::close(worker.fd);
  int status = reap(worker.pid);
  std::string what = why.empty() ? describeStatus(status) : why;
  std::size_t held = 0, given = 0;
  for (std::vector<Numbered>& batch : worker.held)
    for (auto& [place, outcome] : batch) {
      ++held;
      if (mHalted) {
        outcome.error = haltError();
        finish(place, std::move(outcome), mHaltLeavesOut);
      } else if (++mDeaths[place] >= ClassifyWorkers::kWorkerDeathsPerMessage) {
        outcome.error = "its worker process failed twice, the last one " + what;
        mReport.errors.push_back("cannot classify " + outcome.uri + ": " + outcome.error);
        finish(place, std::move(outcome));
      } else {
        ++given;
        mRetry.emplace(place, std::move(outcome));
      }
    }
  if (!worker.answered && held > 0) // one never given work (the user's verdicts) did not fail
    ++mFailedStarts;
  if (!mHalted && held > 0)
    mDiagnostics << "mailhost: worker process " << worker.pid << " " << what << "; " << given
                 << " of its " << held << " messages go to another\n";
  std::erase_if(mWorkers, [&](const std::unique_ptr<Worker>& w) { return w.get() == &worker; });
  if (mFailedStarts >= ClassifyWorkers::kFailedStartsBeforeGivingUp)
    halt(std::to_string(mFailedStarts) +
             " worker processes failed before they answered, the last " + what,
         false);
  else if (replace && hasWork())
    startWorker();
}

void WorkerRun::halt(std::string why, bool leftOut) {
  if (mHalted)
    return;
  mHalted = true;
  mHaltReason = std::move(why);
  mHaltLeavesOut = leftOut;
  if (leftOut)
    mReport.stopReason = mHaltReason;
  else
    mReport.errors.push_back(mHaltReason);
}

// After a halt, what was never handed out is reported as a single run reports it.
void WorkerRun::drainAfterHalt() {
  while (hasWork()) {
    for (auto& [place, outcome] : nextBatch()) {
      outcome.error = haltError();
      finish(place, std::move(outcome), mHaltLeavesOut);
    }
    handOn();
  }
}

ClassifyReport WorkerRun::run(const std::vector<std::filesystem::path>& folders) {
  list(folders);
  if (mOnProgress)
    mOnProgress(0, mTotal);
  SignalsToPipe signals;
  mBatchSize = std::clamp(mTotal / (mJobs * 4), ClassifyWorkers::kMinBatchSize,
                          ClassifyWorkers::kMaxBatchSize);
  std::size_t batches = (mTotal + mBatchSize - 1) / mBatchSize;
  for (std::size_t i = 0; i < std::min(mJobs, batches); ++i)
    startWorker();
  for (;;) {
    if (mWorkers.empty() && hasWork() && !mHalted) {
      if (mFailedStarts >= ClassifyWorkers::kFailedStartsBeforeGivingUp)
        halt("no worker process could be started", false);
      else
        startWorker();
      continue;
    }
    for (std::size_t i = 0; i < mWorkers.size(); ++i)
      feed(*mWorkers[i]);
    handOn();
    bool waiting = std::any_of(mWorkers.begin(), mWorkers.end(),
                               [](const auto& worker) { return !worker->held.empty(); });
    if (!waiting && (mHalted || !hasWork()))
      break;

    std::vector<pollfd> fds{{signals.fd(), POLLIN, 0}};
    for (const auto& worker : mWorkers)
      fds.push_back({worker->fd, POLLIN, 0});
    if (::poll(fds.data(), fds.size(), -1) < 0) {
      if (errno == EINTR)
        continue;
      halt(std::string("cannot wait for the workers: ") + std::strerror(errno), false);
      break;
    }
    if (fds[0].revents) {
      int signal = signals.received();
      halt(std::string("interrupted (SIG") + (signal ? ::sigabbrev_np(signal) : "?") + ")", false);
      break;
    }
    std::vector<Worker*> ready;
    for (std::size_t i = 1; i < fds.size(); ++i)
      if (fds[i].revents)
        ready.push_back(mWorkers[i - 1].get());
    for (Worker* worker : ready)
      receive(*worker); // may remove the worker, never one later in `ready`
  }
  // The workers end when their socket closes (all at once, then each is waited for); after a
  // halt they are ended at once.
  for (const auto& worker : mWorkers)
    mHalted ? ::kill(worker->pid, SIGTERM) : ::shutdown(worker->fd, SHUT_WR);
  while (!mWorkers.empty())
    lose(*mWorkers.back(), mHalted ? "ended by the run" : "", false);
  drainAfterHalt();
  handOn();
  return std::move(mReport);
}

} // namespace

ClassifyWorkers::ClassifyWorkers(std::size_t jobs, std::vector<std::string> workerCommand,
                                 const MailStore& mail, JunkStore& store, std::ostream& diagnostics)
    : mJobs(std::max<std::size_t>(jobs, 1)), mWorkerCommand(std::move(workerCommand)), mMail(mail),
      mStore(store), mDiagnostics(diagnostics) {}

ClassifyReport ClassifyWorkers::run(const std::vector<std::filesystem::path>& folders) {
  WorkerRun run(mJobs, mWorkerCommand, mMail, mStore, mDiagnostics, mReclassify, mOnBatch,
                mOnStored, mOnProgress);
  return run.run(folders);
}

} // namespace mailhost
