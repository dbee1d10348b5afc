#include <Carbon/Carbon.h>

#include <cstdio>

extern "C" void RunApplicationEventLoop(void) {
  if (AEServerOpen() != noErr) {
    std::fprintf(stderr, "RunApplicationEventLoop: cannot register for Apple Events\n");
    return;
  }
  while (AEServerProcessEvents(-1) == noErr) {
  }
  AEServerClose();
}

extern "C" void QuitApplicationEventLoop(void) {
  AEServerRequestQuit();
}
