// The conversation with the companion application: the train and score events, how they are
// sent, and how their replies are read.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <QuellbarkEvents.h>

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
