#include "CompanionServer.h"

#include "AppIdentity.h"
#include "AppLog.h"
#include "EventParameters.h"

#include <Carbon/Carbon.h>
#include <algorithm>
#include <cstring>
#include <iterator>
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

// The classifier this thread used last: its bogofilter has this client's CPUs and warm caches.
thread_local const Engine::Classifier* tLastClassifier = nullptr;

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

OSErr handleCommit(const AppleEvent*, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->acceptCommit(*reply);
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
  AEServerServeConnectionsOnOwnThreads(true);
  return noErr;
}

CompanionServer::CompanionServer(Engine& engine, std::size_t maxClassifiers)
    : mEngine(engine), mMaxClassifiers(std::max<std::size_t>(maxClassifiers, 1)),
      mOwnCpus(CpuSet::of(0)) {}

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
  std::uint64_t serial = 0;
  {
    std::lock_guard lock(mMutex);
    serial = mNextSerial++;
    mUnanswered.insert(serial);
  }
  answer(request, event, reply);
  {
    std::lock_guard lock(mMutex);
    mUnanswered.erase(serial);
  }
  mChanged.notify_all();
  return noErr;
}

void CompanionServer::answer(Request request, const AppleEvent& event, AppleEvent& reply) {
  if (request != Request::score) {
    learn(mEngine, request == Request::learnSpam ? Verdict::spam : Verdict::good, event, reply);
    return;
  }
  SInt32 sender = 0; // events sent within this process have none
  AEGetAttributePtr(&event, keySenderPIDAttr, typeSInt32, nullptr, &sender, sizeof sender, nullptr);
  std::unique_lock lock(mMutex);
  std::unique_ptr<Engine::Classifier> classifier = takeClassifier(lock);
  lock.unlock();
  runBeside(sender, *classifier);
  score(mEngine, *classifier, event, reply);
  lock.lock();
  giveBack(std::move(classifier));
}

// Waits for the events that arrived before it; other clients go on meanwhile.
OSErr CompanionServer::acceptCommit(AppleEvent& reply) {
  {
    std::unique_lock lock(mMutex);
    std::uint64_t const before = mNextSerial;
    mChanged.wait(lock, [&] { return mUnanswered.empty() || *mUnanswered.begin() >= before; });
  }
  if (const EngineError error = mEngine.commit(); error != EngineError::none) {
    putError(reply, static_cast<SInt16>(error), describe(error));
  }
  return noErr;
}

std::unique_ptr<Engine::Classifier>
CompanionServer::takeClassifier(std::unique_lock<std::mutex>& lock) {
  mChanged.wait(lock, [&] { return mBusyClassifiers < mMaxClassifiers; });
  ++mBusyClassifiers;
  if (mIdleClassifiers.empty()) {
    return std::make_unique<Engine::Classifier>(mEngine);
  }
  auto chosen = std::find_if(mIdleClassifiers.begin(), mIdleClassifiers.end(),
                             [](const auto& idle) { return idle.get() == tLastClassifier; });
  if (chosen == mIdleClassifiers.end()) {
    chosen = std::prev(mIdleClassifiers.end()); // the last given back
  }
  std::unique_ptr<Engine::Classifier> classifier = std::move(*chosen);
  mIdleClassifiers.erase(chosen);
  return classifier;
}

void CompanionServer::giveBack(std::unique_ptr<Engine::Classifier> classifier) {
  tLastClassifier = classifier.get();
  mIdleClassifiers.push_back(std::move(classifier));
  --mBusyClassifiers;
  mChanged.notify_all();
}

} // namespace quellbark
