// A small application for the transport tests: it serves Apple Events of class 'TEST' until
// it is stopped or sent 'quit'; with SERVED_APP_OWN_THREADS set, each connection on a thread of
// its own. The tests place it (by symbolic link) into bundles they make, so its signature
// comes from whichever Info.plist or PkgInfo the test wrote.
#include <Carbon/Carbon.h>

#include <condition_variable>
#include <cstdlib>
#include <dirent.h>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace {

constexpr AEEventClass kTestClass = 0x54455354; // 'TEST'

OSErr echo(const AppleEvent* event, AppleEvent* reply, SRefCon) {
  AEDesc direct;
  AEInitializeDesc(&direct);
  OSErr err = AEGetParamDesc(event, keyDirectObject, typeWildCard, &direct);
  if (err == noErr && reply->descriptorType != typeNull)
    err = AEPutParamDesc(reply, keyDirectObject, &direct);
  AEDisposeDesc(&direct);
  return err;
}

OSErr slow(const AppleEvent* event, AppleEvent* reply, SRefCon refcon) {
  SInt32 milliseconds = 0;
  AEGetParamPtr(event, keyDirectObject, typeSInt32, nullptr, &milliseconds, sizeof milliseconds,
                nullptr);
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  return echo(event, reply, refcon);
}

OSErr vanish(const AppleEvent*, AppleEvent*, SRefCon) {
  _exit(0);
}

OSErr fail(const AppleEvent*, AppleEvent*, SRefCon) {
  return paramErr;
}

OSErr countDescriptors(const AppleEvent*, AppleEvent* reply, SRefCon) {
  SInt32 count = 0;
  if (DIR* dir = opendir("/proc/self/fd")) {
    while (readdir(dir))
      ++count;
    closedir(dir);
  }
  return AEPutParamPtr(reply, keyDirectObject, typeSInt32, &count, sizeof count);
}

// 'hold' is suspended until a 'free' resumes it from another thread, its reply then carrying the
// direct object of the 'free'.
std::mutex gHeldLock;
AppleEvent gHeld{typeNull, nullptr};
AppleEvent gHeldReply{typeNull, nullptr};

OSErr hold(const AppleEvent* event, AppleEvent* reply, SRefCon) {
  std::lock_guard guard(gHeldLock);
  if (gHeld.dataHandle != nullptr)
    return paramErr;
  if (OSErr err = AESuspendTheCurrentEvent(event); err != noErr)
    return err;
  gHeld = *event;
  gHeldReply = *reply;
  return noErr;
}

OSErr release(const AppleEvent* event, AppleEvent*, SRefCon) {
  SInt32 value = 0;
  AEGetParamPtr(event, keyDirectObject, typeSInt32, nullptr, &value, sizeof value, nullptr);
  std::lock_guard guard(gHeldLock);
  if (gHeld.dataHandle == nullptr)
    return paramErr;
  std::thread([event = gHeld, reply = gHeldReply, value]() mutable {
    AEPutParamPtr(&reply, keyDirectObject, typeSInt32, &value, sizeof value);
    AEResumeTheCurrentEvent(&event, &reply, kAENoDispatch, nullptr);
  }).detach();
  gHeld = gHeldReply = AppleEvent{typeNull, nullptr};
  return noErr;
}

// 'wait' is answered once an 'open' has come on another connection, or with errAETimeout after
// ten seconds: only connections served side by side get past it.
std::mutex gGateLock;
std::condition_variable gGateOpened;
bool gGateOpen = false;

OSErr waitForOpen(const AppleEvent* event, AppleEvent* reply, SRefCon refcon) {
  std::unique_lock guard(gGateLock);
  if (!gGateOpened.wait_for(guard, std::chrono::seconds(10), [] { return gGateOpen; }))
    return errAETimeout;
  return echo(event, reply, refcon);
}

OSErr openGate(const AppleEvent* event, AppleEvent* reply, SRefCon refcon) {
  {
    std::lock_guard guard(gGateLock);
    gGateOpen = true;
  }
  gGateOpened.notify_all();
  return echo(event, reply, refcon);
}

OSErr quit(const AppleEvent*, AppleEvent*, SRefCon) {
  QuitApplicationEventLoop();
  return noErr;
}

OSErr senderPID(const AppleEvent* event, AppleEvent* reply, SRefCon) {
  SInt32 pid = 0;
  if (OSErr err = AEGetAttributePtr(event, keySenderPIDAttr, typeSInt32, nullptr, &pid, sizeof pid,
                                    nullptr);
      err != noErr)
    return err;
  return AEPutParamPtr(reply, keyDirectObject, typeSInt32, &pid, sizeof pid);
}

} // namespace

int main() {
  struct {
    AEEventID id;
    AEEventHandlerProcPtr handler;
  } handlers[] = {{0x6563686F /* echo */, echo},
                  {0x736C6F77 /* slow */, slow},
                  {0x65786974 /* exit */, vanish},
                  {0x6661696C /* fail */, fail},
                  {0x66646374 /* fdct */, countDescriptors},
                  {0x686F6C64 /* hold */, hold},
                  {0x66726565 /* free */, release},
                  {0x73706964 /* spid */, senderPID},
                  {0x77616974 /* wait */, waitForOpen},
                  {0x6F70656E /* open */, openGate},
                  {0x71756974 /* quit */, quit}};
  for (auto& entry : handlers)
    AEInstallEventHandler(kTestClass, entry.id, NewAEEventHandlerUPP(entry.handler), nullptr,
                          false);
  if (std::getenv("SERVED_APP_OWN_THREADS"))
    AEServerServeConnectionsOnOwnThreads(true);
  RunApplicationEventLoop();
  return 0;
}
