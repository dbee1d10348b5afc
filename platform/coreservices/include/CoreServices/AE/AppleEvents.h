/* Event handlers: the table that maps an event class and ID to the function that serves it. */
#pragma once

#include <CoreServices/AE/AEDataModel.h>

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

#ifdef __cplusplus
}
#endif
