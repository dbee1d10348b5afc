/* Event handlers: the table that maps an event class and ID to the function that serves it. */
#pragma once

#include <CoreServices/AE/AEDataModel.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  keyDirectObject = 0x2D2D2D2D,    /* '----' */
  keyErrorNumber = 0x6572726E,     /* 'errn' */
  keyErrorString = 0x65727273,     /* 'errs' */
  kCoreEventClass = 0x61657674,    /* 'aevt' */
  kAEAnswer = 0x616E7372,          /* 'ansr' */
  kAEOpenApplication = 0x6F617070, /* 'oapp' */
  kAEOpenDocuments = 0x6F646F63,   /* 'odoc' */
  kAEPrintDocuments = 0x70646F63,  /* 'pdoc' */
  kAEQuitApplication = 0x71756974  /* 'quit' */
};

/* typeWildCard as class or ID matches any event; an exact entry wins over a wildcard one.
   Installing over an existing entry replaces it. */
OSErr AEInstallEventHandler(AEEventClass theAEEventClass, AEEventID theAEEventID,
                            AEEventHandlerUPP handler, SRefCon handlerRefcon, Boolean isSysHandler);
OSErr AERemoveEventHandler(AEEventClass theAEEventClass, AEEventID theAEEventID,
                           AEEventHandlerUPP handler, Boolean isSysHandler);
OSErr AEGetEventHandler(AEEventClass theAEEventClass, AEEventID theAEEventID,
                        AEEventHandlerUPP* handler, SRefCon* handlerRefcon, Boolean isSysHandler);

/* Deferred replies. A handler that calls AESuspendTheCurrentEvent with the event it was given may
   return at once; nothing is sent, and the connection it came on delivers no further event until
   the event is resumed. Keep copies of the event and reply descriptors (the structures, not their
   contents) and later call AEResumeTheCurrentEvent with them, from any thread: with kAENoDispatch
   the reply is sent as it stands; with kAEUseStandardDispatch the event goes to its installed
   handler first; with a handler, that handler is called with handlerRefcon. Either way the event
   and its reply are disposed of. An event never resumed must be disposed of by the application.
   AESuspendTheCurrentEvent returns errAEEventNotHandled when the event is not the one being
   handled on this thread; AEResumeTheCurrentEvent when it is not a suspended one. */
#define kAENoDispatch ((AEEventHandlerUPP)0)
#define kAEUseStandardDispatch ((AEEventHandlerUPP)(~(uintptr_t)0))
OSErr AESuspendTheCurrentEvent(const AppleEvent* theAppleEvent);
OSErr AEResumeTheCurrentEvent(const AppleEvent* theAppleEvent, const AppleEvent* reply,
                              AEEventHandlerUPP dispatcher, SRefCon handlerRefcon);

#ifdef __cplusplus
}
#endif
