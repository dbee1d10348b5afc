// Entry points of the Apple Event Manager for the rest of this library (the transport and the
// server loop); not part of the public headers.
#pragma once

#include <CoreServices/AE/AEDataModel.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Largest flattened descriptor AEUnflattenDescFromBuffer accepts (bytes). */
enum { kAEMaxFlattenedSize = 1 << 30 };

/* Unflattens a descriptor from exactly `len` untrusted bytes (the whole 'dle2' form, header
   included). Every length is checked against `len`, nesting is limited, and nothing is read
   outside the buffer. Returns noErr; paramErr for a missing buffer or result, a header that is
   not 'dle2' version 0, or a length above kAEMaxFlattenedSize; errAECorruptData for anything
   else malformed (truncated, inconsistent lengths or counts, trailing bytes, duplicate keys, an
   event without its required attributes). On failure *result is a null descriptor. */
OSStatus AEUnflattenDescFromBuffer(const void* buf, Size len, AEDesc* result);

/* Serves a received event: finds the installed handler for its class and ID (application
   table, then system table; exact before wildcard) and calls it with `reply`. `reply` is the
   default reply made by AECreateReplyEvent, or a null descriptor (or NULL) when the sender
   wants no reply. A non-zero result of the handler, or errAEEventNotHandled when no handler is
   installed, is put into the reply as 'errn' of type 'long' unless the handler has put an
   'errn' itself. Returns that result; errAENotAppleEvent if `event` is not an Apple Event. */
OSErr AEDispatchAppleEvent(const AppleEvent* event, AppleEvent* reply);

/* The default reply to an event: class 'aevt', ID 'ansr', the event's return ID and
   transaction ID, a null target address, no parameters. */
OSErr AECreateReplyEvent(const AppleEvent* event, AppleEvent* reply);

#ifdef __cplusplus
}
#endif
