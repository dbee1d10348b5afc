#include "ExchangeWatch.h"

#include <CoreServices/CoreServices.h>
#include <QuellbarkEvents.h>

#include <chrono>
#include <cmath>
#include <cstdio>

namespace mailhost {

namespace {

using Clock = std::chrono::steady_clock;

// When this thread's send under way started: the exchanges of one thread run one at a time.
thread_local Clock::time_point tSendStarted;

std::mutex gInstalledLock;
ExchangeWatch* gInstalled = nullptr;

bool attribute(const AppleEvent* event, AEKeyword key, OSType& value) {
  return AEGetAttributePtr(event, key, typeType, nullptr, &value, sizeof value, nullptr) == noErr;
}

bool isSpamFilterEvent(const AppleEvent* event) {
  OSType eventClass = 0;
  return attribute(event, keyEventClassAttr, eventClass) && eventClass == kQuellbarkEventClass;
}

std::string seconds(Clock::duration elapsed) {
  double value = std::chrono::duration<double>(elapsed).count();
  char text[32];
  if (value >= 10)
    std::snprintf(text, sizeof text, "%.0f", std::round(value));
  else
    std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

// Why a finished exchange does not count, or nothing when it does.
std::string failureOf(const AppleEvent* event, OSStatus status, const AppleEvent* reply,
                      Clock::duration elapsed) {
  std::string code = " (" + std::to_string(status) + ")";
  switch (status) {
  case noErr:
    break;
  case errAETimeout:
    return "Quellbark did not answer within " + seconds(elapsed) + " s" + code;
  case procNotFound:
    return "Quellbark is not running and could not be launched" + code;
  case connectionInvalid:
    return "Quellbark closed the connection before it answered" + code;
  default:
    return "the exchange with Quellbark failed" + code;
  }
  OSType id = 0;
  bool scoring = attribute(event, keyEventIDAttr, id) && id == kQuellbarkScoreEvent;
  bool hasReply = reply && reply->descriptorType != typeNull;
  SInt16 errorNumber = 0;
  OSErr errorRead = errAEDescNotFound;
  if (hasReply)
    errorRead = AEGetParamPtr(reply, keyErrorNumber, typeSInt16, nullptr, &errorNumber,
                              sizeof errorNumber, nullptr);
  const char* task = scoring ? "score the message" : "learn from the message";
  if (errorRead == noErr && errorNumber != 0)
    return std::string("Quellbark could not ") + task + " (error " + std::to_string(errorNumber) +
           ")";
  if (errorRead != noErr && errorRead != errAEDescNotFound)
    return "Quellbark's answer carried an unreadable error number";
  if (!scoring)
    return {};
  if (errorRead == noErr)
    return "Quellbark's answer carried an error number, so its score was not used";
  SInt16 score = 0;
  if (!hasReply || AEGetParamPtr(reply, keyDirectObject, typeSInt16, nullptr, &score, sizeof score,
                                 nullptr) != noErr)
    return "Quellbark's answer carried no score";
  return {};
}

} // namespace

struct ExchangeWatch::Observer {
  static OSStatus willSend(const AppleEvent* event, void* refcon) {
    if (!isSpamFilterEvent(event))
      return noErr;
    auto& watch = *static_cast<ExchangeWatch*>(refcon);
    tSendStarted = Clock::now();
    std::lock_guard lock(watch.mLock);
    return watch.mRefusing ? OSStatus(errAEWaitCanceled) : OSStatus(noErr);
  }

  static void didSend(const AppleEvent* event, OSStatus status, const AppleEvent* reply,
                      void* refcon) {
    if (!isSpamFilterEvent(event))
      return;
    auto& watch = *static_cast<ExchangeWatch*>(refcon);
    std::string failure = failureOf(event, status, reply, Clock::now() - tSendStarted);
    std::lock_guard lock(watch.mLock);
    if (status == errAEWaitCanceled && watch.mRefusing)
      failure = watch.mRefusal;
    ++watch.mExchanges;
    watch.mLast = {failure.empty(), failure, status == errAETimeout};
    watch.mConsecutiveFailures = failure.empty() ? 0 : watch.mConsecutiveFailures + 1;
  }
};

ExchangeWatch::ExchangeWatch() {
  std::lock_guard lock(gInstalledLock);
  AESendObserver observer{&Observer::willSend, &Observer::didSend, this};
  AESetSendObserver(&observer);
  gInstalled = this;
}

ExchangeWatch::~ExchangeWatch() {
  std::lock_guard lock(gInstalledLock);
  if (gInstalled != this)
    return; // replaced by a later watch
  AESetSendObserver(nullptr);
  gInstalled = nullptr;
}

ExchangeWatch::Outcome ExchangeWatch::take() {
  std::lock_guard lock(mLock);
  Outcome outcome = mExchanges ? mLast : Outcome{false, "no exchange with Quellbark took place"};
  mExchanges = 0;
  mLast = {};
  return outcome;
}

std::size_t ExchangeWatch::consecutiveFailures() const {
  std::lock_guard lock(mLock);
  return mConsecutiveFailures;
}

void ExchangeWatch::refuseSends(std::string why) {
  std::lock_guard lock(mLock);
  mRefusing = true;
  mRefusal = std::move(why);
}

void ExchangeWatch::allowSends() {
  std::lock_guard lock(mLock);
  mRefusing = false;
  mRefusal.clear();
}

} // namespace mailhost
