/* Serving Apple Events from a custom event loop. RunApplicationEventLoop (Carbon/Carbon.h) is
   built from these calls; a program with a loop of its own uses them directly:

     AEServerOpen();                       // register and listen
     while (!done) AEServerProcessEvents(-1);
     AEServerClose();                      // stop listening, unregister

   Registration puts an entry (pid, process start time, creator signature, name, bundle path,
   socket) into the runtime folder ($XDG_RUNTIME_DIR/AppleEvents, see docs/wire-format.md). The
   signature is the application bundle's (the executable at X.app/Contents/MacOS/<name>:
   CFBundleSignature of X.app/Contents/Info.plist, else Contents/PkgInfo); outside a bundle it is
   '????'. Events are handled one at a time on the calling thread, in order of arrival, every
   connection getting its turn (unless connections are served on threads of their own, below); a
   handler may suspend its event and reply later from another thread (AESuspendTheCurrentEvent), and
   the other connections are served meanwhile. Every received event carries the sender's process id
   as keySenderPIDAttr ('spid', typeSInt32). */
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Registers this process and starts listening. noErr, also when already open; paramErr when the
   runtime folder cannot be made private to this user, or the socket cannot be bound. */
OSStatus AEServerOpen(void);

/* Waits up to timeoutMilliseconds (-1: no limit) for work, accepts connections, reads events and
   handles at most one of them. Returns noErr, or errAEWaitCanceled (-1711) once a quit has been
   requested (the server stays open until AEServerClose). paramErr when not open. */
OSStatus AEServerProcessEvents(long timeoutMilliseconds);

/* From now on, each newly accepted connection is served on a thread of its own: its events are
   read, handled and answered there, one at a time and in order of arrival, with no hand-over
   between threads, and handlers of different connections run at the same time. A handler may
   still suspend its event; its connection then waits for the resume. The loop only accepts
   connections. AEServerClose shuts these connections down and waits for their threads, so it
   must not be called from a handler. */
void AEServerServeConnectionsOnOwnThreads(Boolean on);

/* Asks the loop to end; async-signal-safe, callable from a handler or another thread. */
void AEServerRequestQuit(void);
Boolean AEServerQuitRequested(void);

/* Stops listening, closes every connection and removes the registry entry. Also done at exit. */
void AEServerClose(void);

#ifdef __cplusplus
}
#endif
