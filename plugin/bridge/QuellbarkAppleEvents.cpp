#include "QuellbarkAppleEvents.h"

#include "QuellbarkLauncher.h"
#include "log/QuellbarkLog.h"

#include <CoreServices/AE/AEMach.h>
#include <mach/mach.h>

namespace {

// The direct object, the two flags and the separator, in one step; 'Mess' is added on its own.
constexpr const char kEventFormat[] = "'----':'null'(),bDec:bool(@),bRFC:bool(@),sSEP:'TEXT'(@)";

// The platform calls report 32-bit statuses; the bridge passes on their low 16 bits.
OSErr narrowed(OSStatus status) {
  return static_cast<OSErr>(status);
}

} // namespace

OSErr buildAppleEvent(AEEventID eventID, CFDataRef messageData, bool bDec, bool bRFC,
                      const char* separator, AppleEvent* event) {
  // The application's creator signature, as a four-character code in a 4-byte local.
  const OSType targetSignature = kQuellbarkSignature;
  AEBuildError buildError;
  OSErr err = narrowed(
      AEBuildAppleEvent(kQuellbarkEventClass, eventID, typeApplSignature, &targetSignature,
                        sizeof targetSignature, kAutoGenerateReturnID, kAnyTransactionID, event,
                        &buildError, kEventFormat, int(bDec), int(bRFC), separator));
  if (err != noErr)
    return err;
  // On failure the half-built event is left as it is; no caller disposes of it either.
  return AEPutParamPtr(event, kQuellbarkMessageParam, typeChar, CFDataGetBytePtr(messageData),
                       CFDataGetLength(messageData));
}

OSErr sendAppleEvent(AppleEvent* event, AppleEvent* reply) {
  mach_port_t replyPort = MACH_PORT_NULL;
  static_assert(sizeof replyPort == 4, "the reply port attribute holds 4 bytes");
  (void)mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &replyPort);
  (void)AEPutAttributePtr(event, keyReplyPortAttr, typeMachPort, &replyPort, sizeof replyPort);

  OSErr result = narrowed(AESendMessage(event, reply, kAEWaitReply, kAEDefaultTimeout));
  if (result == noErr && reply->descriptorType != typeNull) {
    // An 'errn' that is present but cannot be read as a 16-bit number still says the exchange
    // failed, so the buffer starts as the failed coercion rather than as success.
    SInt16 replyError = errAECoercionFail;
    OSErr readResult = AEGetParamPtr(reply, keyErrorNumber, typeSInt16, nullptr, &replyError,
                                     sizeof replyError, nullptr);
    if (readResult != errAEDescNotFound) {
      result = replyError;
      AEDisposeDesc(reply);
    }
  }
  mach_port_destroy(mach_task_self(), replyPort);
  AEDisposeDesc(event);
  return result;
}

OSErr sendAppleEventReturnVoid(AppleEvent* event) {
  AppleEvent reply = {typeNull, nullptr};
  OSErr result = sendAppleEvent(event, &reply);
  if (result == noErr && reply.descriptorType != typeNull)
    AEDisposeDesc(&reply);
  return result;
}

OSErr sendAppleEventReturnInt(AppleEvent* event, SInt16* result) {
  AppleEvent reply = {typeNull, nullptr};
  OSErr err = sendAppleEvent(event, &reply);
  if (err != noErr)
    return err;
  // A reply that carried an 'errn', even 0, was disposed of by the send: success, no score.
  if (reply.descriptorType == typeNull)
    return noErr;
  err =
      AEGetParamPtr(&reply, keyDirectObject, typeSInt16, nullptr, result, sizeof *result, nullptr);
  AEDisposeDesc(&reply);
  return err;
}

void trainWithMessageData(CFDataRef messageData, AEEventID eventID) {
  launchQuellbarkIfNecessary();
  if (messageData == nullptr) {
    error("NULL messageData when training");
    return;
  }
  AppleEvent event = {typeNull, nullptr};
  OSErr err = buildAppleEvent(eventID, messageData, true, true, "", &event);
  if (err != noErr) {
    error("error building train event %d", int(err));
    return;
  }
  err = sendAppleEventReturnVoid(&event);
  if (err != noErr)
    error("error sending train event %d", int(err));
}
