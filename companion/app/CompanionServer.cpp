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
void putError(AppleEvent& reply, SInt16 number, char const* reason) {
  if (reply.descriptorType == typeNull) {
    return;
  }
  AEPutParamPtr(&reply, keyErrorNumber, typeSInt16, &number, sizeof number);
  AEPutParamPtr(&reply, keyErrorString, typeChar, reason, static_cast<Size>(std::strlen(reason)));
}

bool unreadable(MessageRequest const& request, AppleEvent& reply, char const* event) {
  if (request.error == noErr) {
    return false;
  }
  AppLog::line(std::string("a request '") + event + "' with unreadable parameters (error " +
               std::to_string(request.error) + ")");
  putError(reply, request.error, "the message parameters cannot be read");
  return true;
}

OSErr handleScore(AppleEvent const* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->score(*event, *reply);
}

OSErr handleLearnSpam(AppleEvent const* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->learn(Verdict::spam, *event, *reply);
}

OSErr handleLearnGood(AppleEvent const* event, AppleEvent* reply, SRefCon server) {
  return static_cast<CompanionServer*>(server)->learn(Verdict::good, *event, *reply);
}

OSErr handleQuit(AppleEvent const*, AppleEvent*, SRefCon) {
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
  for (auto const& h : handlers) {
    if (OSErr const err =
            AEInstallEventHandler(h.eventClass, h.id, NewAEEventHandlerUPP(h.handler), this, false);
        err != noErr) {
      return err;
    }
  }
  return noErr;
}

// Several messages in one event score as the most spam-like of them.
OSErr CompanionServer::score(AppleEvent const& event, AppleEvent& reply) {
  MessageRequest const request = readMessageRequest(event);
  if (unreadable(request, reply, "Qscr")) {
    return noErr;
  }
  SInt16 highest = 0;
  for (std::string const& message : prepareMessages(request.bytes, request.form)) {
    ScoreResult const result = mEngine.score(message);
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

OSErr CompanionServer::learn(Verdict verdict, AppleEvent const& event, AppleEvent& reply) {
  MessageRequest const request = readMessageRequest(event);
  if (unreadable(request, reply, verdict == Verdict::spam ? "addS" : "addG")) {
    return noErr;
  }
  for (std::string const& message : prepareMessages(request.bytes, request.form)) {
    if (EngineError const error = mEngine.learn(verdict, message); error != EngineError::none) {
      putError(reply, static_cast<SInt16>(error), describe(error));
      return noErr;
    }
  }
  return noErr;
}

} // namespace quellbark
