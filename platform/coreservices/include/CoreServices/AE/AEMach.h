/* Sending Apple Events between processes, and the reply port attribute.

   The event's 'addr' attribute names the target: 'sign' (4 bytes, the creator signature's
   characters in order), 'kpid' (a pid_t), or 'psn ' (a ProcessSerialNumber). The current process
   ({0, kCurrentProcess}, its own serial number or pid) gets the event dispatched directly to its
   handler; any other target must be a live application registered in the runtime folder.

   Send modes: kAENoReply returns once the target has accepted the event; kAEWaitReply waits for
   the reply event and puts it into *reply. kAEQueueReply is not offered (errAEUnknownSendMode).
   Timeouts are in ticks (1/60 s): kAEDefaultTimeout (-1) is 3600 ticks unless the environment
   variable AE_DEFAULT_TIMEOUT_TICKS gives another positive number; kNoTimeOut (-2) and 0 wait
   forever; a positive value waits that long; other negative values act as kAEDefaultTimeout.

   Results: noErr; procNotFound (-600) for no such live application; errAETimeout (-1712);
   connectionInvalid (-609) as soon as the target closes the connection or dies before the
   exchange completes; errAEUnknownSendMode (-1710); errAEUnknownAddressType (-1716) for a missing
   or unusable 'addr'; noPortErr (-903) for a 'repp' name that is not a receive right of this
   process; paramErr (-50) for an event too large to send (docs/wire-format.md); or the error
   code of an error frame from the target (errAECorruptData (-1702) for an event it could not
   read). */
#pragma once

#include <CoreServices/AE/AEDataModel.h>
#include <mach/mach.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  keyReplyPortAttr = 0x72657070, /* 'repp': the mach_port_t (4 bytes, type 'port') to reply on */
  typeReplyPortAttr = keyReplyPortAttr
};

/* With 'repp' naming a receive right allocated by mach_port_allocate, the exchange runs over that
   port's channel (kept for later sends to the same target until mach_port_destroy); without it,
   over a channel of its own that is closed before the call returns. */
OSStatus AESendMessage(const AppleEvent* event, AppleEvent* reply, AESendMode sendMode,
                       long timeOutInTicks);

/* This platform's own addition: a process may watch its own sends. Every AESendMessage call with
   an event first asks willSend, which may refuse the send: AESendMessage then returns that
   status at once and nothing is sent. didSend then sees the send's outcome and the reply (a null
   descriptor when there is none or the send failed), also when the caller passed no reply; the
   caller gets the same reply afterwards. Either function may be NULL. The callbacks run on the
   sending thread and must neither send nor change the observer.

   One observer per process: AESetSendObserver copies *observer and replaces any earlier one;
   NULL removes it. Once it returns, the earlier observer is called no more (a send under way
   then reports to the new one, or to none). */
typedef struct AESendObserver {
  OSStatus (*willSend)(const AppleEvent* event, void* refcon);
  void (*didSend)(const AppleEvent* event, OSStatus status, const AppleEvent* reply, void* refcon);
  void* refcon;
} AESendObserver;

void AESetSendObserver(const AESendObserver* observer);

#ifdef __cplusplus
}
#endif
