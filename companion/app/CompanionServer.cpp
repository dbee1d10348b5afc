#include "CompanionServer.h"

#include "AppIdentity.h"
#include "AppLog.h"
#include "EventParameters.h"

#include <Carbon/Carbon.h>
#include <algorithm>
#include <cstring>
#include <string>

namespace quellbark {

namespace {

// The reply descriptor is null when the sender asked for no reply.
void putError(AppleEvent& reply, SInt16 number, const char* reason) {
  if (reply.descriptorType == typeNull) {
    return;
  }
  AEPutParamPtr(&reply, keyErrorNumber, typeSInt16, &number, sizeof number);
  AEPutParamPtr(&reply, keyErrorString, typeChar, reason, static_cast<Size>(std::strlen(reason)));
}

bool unreadable(const MessageRequest& request, AppleEvent& reply, const char* event) {
  if (request.error == noErr) {
    return false;
  }
  AppLog::line(std::string("a request '") + event + "' with unreadable parameters (error " +
               std::to_string(request.error) + ")");
  putError(reply, request.error, "the message parameters cannot be read");
  return true;
}

// The set the calling thread was last given.
thread_local std::optional<CpuSet> threadCpus;

void runThreadOn(const CpuSet& cpus) {
  if (cpus != threadCpus && cpus.applyTo(0)) {
    threadCpus = cpus;
  }
}

OSErr handleScore(const AppleEvent* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->accept(CompanionServer::Request::score, *event,
                                                       *reply);
}

OSErr handleLearnSpam(const AppleEvent* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->accept(CompanionServer::Request::learnSpam, *event,
                                                       *reply);
}

OSErr handleLearnGood(const AppleEvent* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->accept(CompanionServer::Request::learnGood, *event,
                                                       *reply);
}

OSErr handleCommit(const AppleEvent* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->acceptCommit(*event, *reply);
}

OSErr handleQuit(const AppleEvent*, AppleEvent*, SRefCon) {
  QuitApplicationEventLoop();
  return noErr;
}

// Several messages in one event score as the most spam-like of them.
void score(Engine& engine, Engine::Classifier& classifier, const AppleEvent& event,
           AppleEvent& reply) {
  const MessageRequest request = readMessageRequest(event);
  if (unreadable(request, reply, "Qscr")) {
    return;
  }
  SInt16 highest = 0;
  for (const MessageParts& message : prepareMessages(request.bytes.view(), request.form)) {
    const ScoreResult result = engine.score(classifier, message);
    if (result.error != EngineError::none) {
      putError(reply, static_cast<SInt16>(result.error), describe(result.error));
      return;
    }
    highest = std::max(highest, static_cast<SInt16>(result.score));
  }
  if (reply.descriptorType != typeNull) {
    AEPutParamPtr(&reply, keyDirectObject, typeSInt16, &highest, sizeof highest);
  }
}

void learn(Engine& engine, Verdict verdict, const AppleEvent& event, AppleEvent& reply) {
  const MessageRequest request = readMessageRequest(event);
  if (unreadable(request, reply, verdict == Verdict::spam ? "addS" : "addG")) {
    return;
  }
  for (const MessageParts& message : prepareMessages(request.bytes.view(), request.form)) {
    if (const EngineError error = engine.learn(verdict, message); error != EngineError::none) {
      putError(reply, static_cast<SInt16>(error), describe(error));
      return;
    }
  }
}

} // namespace

OSErr CompanionServer::install() {
  struct {
    AEEventClass eventClass;
    AEEventID id;
    AEEventHandlerProcPtr handler;
  } const handlers[] = {
      {kQuellbarkEventClass, kQuellbarkScoreEvent, handleScore},
      {kQuellbarkEventClass, kQuellbarkTrainSpamEvent, handleLearnSpam},
      {kQuellbarkEventClass, kQuellbarkTrainGoodEvent, handleLearnGood},
      {kQuellbarkEventClass, kQuellbarkCommitEvent, handleCommit},
      {kCoreEventClass, kAEQuitApplication, handleQuit},
  };
  for (const auto& h : handlers) {
    if (const OSErr err =
            AEInstallEventHandler(h.eventClass, h.id, NewAEEventHandlerUPP(h.handler), this, false);
        err != noErr) {
      return err;
    }
  }
  return noErr;
}

CompanionServer::CompanionServer(Engine& engine, std::size_t maxWorkers)
    : mEngine(engine), mMaxWorkers(std::max<std::size_t>(maxWorkers, 1)), mOwnCpus(CpuSet::of(0)) {}

CompanionServer::~CompanionServer() {
  {
    std::lock_guard lock(mMutex); // no worker is between its look at the queue and its wait
    for (auto& worker : mWorkers) {
      worker.request_stop();
    }
  }
  mWork.notify_all();
  mWorkers.clear(); // joins, once every queue is answered
}

void CompanionServer::answer(Request request, const AppleEvent& event, AppleEvent& reply,
                             Engine::Classifier& classifier) {
  if (request == Request::score) {
    score(mEngine, classifier, event, reply);
  } else {
    learn(mEngine, request == Request::learnSpam ? Verdict::spam : Verdict::good, event, reply);
  }
}

// The sender waits while its event is answered, and the answer waits for bogofilter's: on one
// CPU each hand-over is a switch there, where on two it wakes the other CPU and finds its
// caches cold (a sixth more CPU for bogofilter, more than half again for this process). Never
// outside the CPUs this process was given.
void CompanionServer::runBeside(SInt32 sender, Engine::Classifier& classifier) const {
  std::optional<CpuSet> cpus = sender > 0 ? CpuSet::of(sender) : std::nullopt;
  if (cpus && mOwnCpus) {
    cpus = cpus->within(*mOwnCpus);
  }
  if (!cpus) {
    cpus = mOwnCpus;
  }
  if (cpus) {
    runThreadOn(*cpus);
    classifier.runOn(*cpus);
  }
}

OSErr CompanionServer::accept(Request request, const AppleEvent& event, AppleEvent& reply) {
  SInt32 sender = 0; // events without a sender (sent within this process) share one queue
  AEGetAttributePtr(&event, keySenderPIDAttr, typeSInt32, nullptr, &sender, sizeof sender, nullptr);
  std::unique_lock lock(mMutex);
  // One client alone is answered here, at once: handing its events to a worker would only
  // add a thread switch to each. Nothing is outstanding then, so no order can change.
  const auto now = std::chrono::steady_clock::now();
  if (sender != mLastSender) {
    // The one before is other to this one from its last event on: a client that comes after
    // another has gone is alone at once.
    mOtherSenderAt = mLastEventAt;
    mLastSender = sender;
  }
  mLastEventAt = now;
  const bool alone = mSenders.empty() && now - mOtherSenderAt >= kAloneAfter;
  if (alone || AESuspendTheCurrentEvent(&event) != noErr) {
    std::unique_ptr<Engine::Classifier> classifier = takeClassifier();
    lock.unlock();
    runBeside(sender, *classifier);
    answer(request, event, reply, *classifier);
    lock.lock();
    giveBack(std::move(classifier));
    return noErr;
  }
  if (mOwnCpus) {
    runThreadOn(*mOwnCpus); // receives for every sender again
  }
  Sender& queue = mSenders[sender];
  queue.jobs.push_back({request, event, reply, mNextSerial++});
  if (!queue.served && queue.jobs.size() == 1) {
    mReady.push_back(sender);
    if (mIdleWorkers == 0 && mWorkers.size() < mMaxWorkers) {
      mWorkers.emplace_back([this](std::stop_token stop) { work(stop); });
    } else {
      // Woken once the lock is free, so that it does not wake only to wait for it.
      lock.unlock();
      mWork.notify_one();
    }
  }
  return noErr;
}

// Events answered on the event loop's thread need no waiting for: the loop takes this one only
// after their replies have gone.
OSErr CompanionServer::acceptCommit(const AppleEvent& event, AppleEvent& reply) {
  std::unique_lock lock(mMutex);
  if (firstUnanswered() == mNextSerial || AESuspendTheCurrentEvent(&event) != noErr) {
    lock.unlock();
    commit(reply);
    return noErr;
  }
  mCommits.push_back({mNextSerial, event, reply});
  return noErr;
}

void CompanionServer::commit(AppleEvent& reply) {
  if (const EngineError error = mEngine.commit(); error != EngineError::none) {
    putError(reply, static_cast<SInt16>(error), describe(error));
  }
}

void CompanionServer::answerCommits(std::unique_lock<std::mutex>& lock) {
  if (mCommits.empty()) {
    return; // the usual case, after every answered job: no walk over the queues
  }
  std::uint64_t const first = firstUnanswered();
  auto const waiting = std::partition(mCommits.begin(), mCommits.end(),
                                      [&](const Commit& c) { return c.after > first; });
  if (waiting == mCommits.end()) {
    return;
  }
  std::vector<Commit> due(waiting, mCommits.end());
  mCommits.erase(waiting, mCommits.end());
  lock.unlock();
  for (Commit& c : due) {
    commit(c.reply);
    AEResumeTheCurrentEvent(&c.event, &c.reply, kAENoDispatch, nullptr);
  }
  lock.lock();
}

// Each sender's jobs are answered in turn, so the oldest unanswered job heads some queue.
std::uint64_t CompanionServer::firstUnanswered() const {
  std::uint64_t first = mNextSerial;
  for (const auto& [sender, queue] : mSenders) {
    if (!queue.jobs.empty()) {
      first = std::min(first, queue.jobs.front().serial);
    }
  }
  return first;
}

std::unique_ptr<Engine::Classifier> CompanionServer::takeClassifier() {
  if (mIdleClassifiers.empty()) {
    return std::make_unique<Engine::Classifier>(mEngine);
  }
  std::unique_ptr<Engine::Classifier> classifier = std::move(mIdleClassifiers.back());
  mIdleClassifiers.pop_back();
  return classifier;
}

void CompanionServer::giveBack(std::unique_ptr<Engine::Classifier> classifier) {
  mIdleClassifiers.push_back(std::move(classifier));
}

// Answers one sender's queue at a time, each event in turn. A classifier's process ends when
// idle, so an idle worker holds no bogofilter.
void CompanionServer::work(std::stop_token stop) {
  std::unique_lock lock(mMutex);
  for (;;) {
    ++mIdleWorkers;
    mWork.wait(lock, [&] { return !mReady.empty() || stop.stop_requested(); });
    --mIdleWorkers;
    if (mReady.empty()) {
      return; // stopping, and nothing is left to answer
    }
    SInt32 const sender = mReady.front();
    mReady.pop_front();
    Sender& queue = mSenders[sender];
    queue.served = true;
    std::unique_ptr<Engine::Classifier> classifier = takeClassifier();
    while (!queue.jobs.empty()) {
      Job job = queue.jobs.front(); // left queued until answered: a commit waits for it
      lock.unlock();
      runBeside(sender, *classifier);
      answer(job.request, job.event, job.reply, *classifier);
      AEResumeTheCurrentEvent(&job.event, &job.reply, kAENoDispatch, nullptr);
      lock.lock();
      queue.jobs.pop_front();
      answerCommits(lock);
    }
    giveBack(std::move(classifier));
    mSenders.erase(sender);
  }
}

} // namespace quellbark
