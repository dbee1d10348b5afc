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

OSErr handleScore(const AppleEvent* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->score(*event, *reply);
}

OSErr handleLearnSpam(const AppleEvent* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->learn(Verdict::spam, *event, *reply);
}

OSErr handleLearnGood(const AppleEvent* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->learn(Verdict::good, *event, *reply);
}

OSErr handleQuit(const AppleEvent*, AppleEvent*, SRefCon) {
  QuitApplicationEventLoop();
  return noErr;
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

// Several messages in one event score as the most spam-like of them.
OSErr CompanionServer::score(const AppleEvent& event, AppleEvent& reply) {
  const MessageRequest request = readMessageRequest(event);
  if (unreadable(request, reply, "Qscr")) {
    return noErr;
  }
  SInt16 highest = 0;
  for (const std::string& message : prepareMessages(request.bytes, request.form)) {
    const ScoreResult result = mEngine.score(message);
    if (result.error != EngineError::none) {
      putError(reply, static_cast<SInt16>(result.error), describe(result.error));
      return noErr;
    }
    highest = std::max(highest, static_cast<SInt16>(result.score));
  }
  if (reply.descriptorType != typeNull) {
    AEPutParamPtr(&reply, keyDirectObject, typeSInt16, &highest, sizeof highest);
  }
  return noErr;
}

OSErr CompanionServer::learn(Verdict verdict, const AppleEvent& event, AppleEvent& reply) {
  const MessageRequest request = readMessageRequest(event);
  if (unreadable(request, reply, verdict == Verdict::spam ? "addS" : "addG")) {
    return noErr;
  }
  for (const std::string& message : prepareMessages(request.bytes, request.form)) {
    if (const EngineError error = mEngine.learn(verdict, message); error != EngineError::none) {
      putError(reply, static_cast<SInt16>(error), describe(error));
      return noErr;
    }
  }
  return noErr;
}

} // namespace quellbark
