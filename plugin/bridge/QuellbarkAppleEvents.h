// The conversation with the companion application: the train and score events, how they are
// sent, and how their replies are read.
#ifndef QUELLBARK_BRIDGE_APPLEEVENTS_H
#define QUELLBARK_BRIDGE_APPLEEVENTS_H

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

// A four-character code from its four characters, first character in the high byte.
constexpr FourCharCode quellbarkFourCharCode(const char (&code)[5]) {
  return (FourCharCode(UInt8(code[0])) << 24) | (FourCharCode(UInt8(code[1])) << 16) |
         (FourCharCode(UInt8(code[2])) << 8) | FourCharCode(UInt8(code[3]));
}

// The application is addressed by its creator signature, which is also the class of its events.
inline constexpr OSType kQuellbarkSignature = quellbarkFourCharCode("Qbrk");
inline constexpr AEEventClass kQuellbarkEventClass = quellbarkFourCharCode("Qbrk");
inline constexpr AEEventID kQuellbarkScoreEvent = quellbarkFourCharCode("Qscr");
inline constexpr AEEventID kQuellbarkTrainSpamEvent = quellbarkFourCharCode("addS");
inline constexpr AEEventID kQuellbarkTrainGoodEvent = quellbarkFourCharCode("addG");
inline constexpr AEKeyword kQuellbarkMessageParam = quellbarkFourCharCode("Mess");

// Builds a complete event around the message bytes (without its reply port). An event whose
// build failed must be neither sent nor disposed of.
OSErr buildAppleEvent(AEEventID eventID, CFDataRef messageData, bool bDec, bool bRFC,
                      const char* separator, AppleEvent* event);

// Sends a built event and waits for the reply. Returns the send's error, else the reply's
// 'errn', else 0. Always disposes of the event; disposes of the reply only when it read an
// 'errn' out of it.
OSErr sendAppleEvent(AppleEvent* event, AppleEvent* reply);

// Sends an event whose reply carries nothing but an error.
OSErr sendAppleEventReturnVoid(AppleEvent* event);

// Sends an event and reads the reply's direct object as a 16-bit integer into result. A reply
// without content, or one that carried an 'errn' (even 0), leaves result untouched.
OSErr sendAppleEventReturnInt(AppleEvent* event, SInt16* result);

// One whole training exchange ('addS' or 'addG'); failures are only logged.
void trainWithMessageData(CFDataRef messageData, AEEventID eventID);

#endif
