/* The application event loop: serve Apple Events until asked to quit. */
#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <CoreServices/AE/AEServer.h>
#include <CoreServices/CoreServices.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Registers the application (AEServerOpen), handles Apple Events on the calling thread until
   QuitApplicationEventLoop, then unregisters. Returns at once, with a line on stderr, when the
   application cannot register. */
void RunApplicationEventLoop(void);
/* Ends RunApplicationEventLoop; callable from a handler, another thread or a signal handler. */
void QuitApplicationEventLoop(void);

#ifdef __cplusplus
}
#endif
