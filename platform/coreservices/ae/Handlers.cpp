// The event handler tables and the dispatch of a received event to its handler.
#include "AEPrivate.h"
#include "Event.h"
#include "Storage.h"

#include <CoreServices/AE/AppleEvents.h>

#include <map>
#include <mutex>
#include <optional>
#include <utility>

using namespace ae;

namespace {

struct Handler {
  AEEventHandlerUPP proc;
  SRefCon refcon;
};

using Key = std::pair<AEEventClass, AEEventID>;

struct Tables {
  std::mutex lock;
  std::map<Key, Handler> app, sys;
  std::map<Key, Handler>& of(Boolean isSys) { return isSys ? sys : app; }
};

Tables& tables() {
  static Tables* t = new Tables; // outlives every static destructor that might dispatch
  return *t;
}

std::optional<Handler> lookup(const std::map<Key, Handler>& table, AEEventClass cls, AEEventID id) {
  const Key candidates[] = {
      {cls, id}, {cls, typeWildCard}, {typeWildCard, id}, {typeWildCard, typeWildCard}};
  for (const Key& k : candidates)
    if (auto it = table.find(k); it != table.end())
      return it->second;
  return std::nullopt;
}

} // namespace

extern "C" {

OSErr AEInstallEventHandler(AEEventClass theAEEventClass, AEEventID theAEEventID,
                            AEEventHandlerUPP handler, SRefCon handlerRefcon,
                            Boolean isSysHandler) {
  if (!handler)
    return paramErr;
  return guarded([&] {
    Tables& t = tables();
    std::lock_guard guard(t.lock);
    t.of(isSysHandler)[{theAEEventClass, theAEEventID}] = {handler, handlerRefcon};
    return OSErr(noErr);
  });
}

OSErr AERemoveEventHandler(AEEventClass theAEEventClass, AEEventID theAEEventID,
                           AEEventHandlerUPP handler, Boolean isSysHandler) {
  Tables& t = tables();
  std::lock_guard guard(t.lock);
  auto& table = t.of(isSysHandler);
  auto it = table.find({theAEEventClass, theAEEventID});
  if (it == table.end() || (handler && it->second.proc != handler))
    return errAEHandlerNotFound;
  table.erase(it);
  return noErr;
}

OSErr AEGetEventHandler(AEEventClass theAEEventClass, AEEventID theAEEventID,
                        AEEventHandlerUPP* handler, SRefCon* handlerRefcon, Boolean isSysHandler) {
  Tables& t = tables();
  std::lock_guard guard(t.lock);
  auto found = lookup(t.of(isSysHandler), theAEEventClass, theAEEventID);
  if (!found)
    return errAEHandlerNotFound;
  if (handler)
    *handler = found->proc;
  if (handlerRefcon)
    *handlerRefcon = found->refcon;
  return noErr;
}

OSErr AEDispatchAppleEvent(const AppleEvent* event, AppleEvent* reply) {
  if (!event || kindOf(event) != Kind::Event)
    return errAENotAppleEvent;
  const Node& node = *nodeOf(event);
  AEEventClass cls = attributeCode(node, keyEventClassAttr);
  AEEventID id = attributeCode(node, keyEventIDAttr);
  std::optional<Handler> handler;
  {
    Tables& t = tables();
    std::lock_guard guard(t.lock);
    handler = lookup(t.app, cls, id);
    if (!handler)
      handler = lookup(t.sys, cls, id);
  }
  // The handler runs unlocked: it may install or remove handlers itself.
  OSErr result =
      handler ? handler->proc(event, reply, handler->refcon) : OSErr(errAEEventNotHandled);
  if (result != noErr && reply && kindOf(reply) == Kind::Event) {
    Size size = 0;
    if (AESizeOfParam(reply, keyErrorNumber, nullptr, &size) == errAEDescNotFound) {
      SInt32 code = result;
      AEPutParamPtr(reply, keyErrorNumber, typeSInt32, &code, sizeof code);
    }
  }
  return result;
}

} // extern "C"
