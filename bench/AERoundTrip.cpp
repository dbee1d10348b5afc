// A score-like exchange (a 4 KiB message out, a small number back) through AESendMessage to a
// served application, next to a raw Unix-socket round trip of the same bytes between the same
// two processes. The program is both sides: it launches itself, from a bundle it makes, as the
// served application (which also runs the raw echo server on a thread).
#include <Carbon/Carbon.h>
#include <CoreServices/CoreServices.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr AEEventClass kClass = 0x424E4348; // 'BNCH'
constexpr AEEventID kScore = 0x73636F72;    // 'scor'
constexpr AEKeyword kMessage = 0x4D657373;  // 'Mess'
constexpr std::size_t kMessageSize = 4096;
constexpr const char* kServeVariable = "AE_ROUNDTRIP_SERVE";

std::string rawSocketPath() {
  return std::string(std::getenv("XDG_RUNTIME_DIR")) + "/raw.socket";
}

bool readAll(int fd, void* into, std::size_t length) {
  auto* bytes = static_cast<char*>(into);
  for (std::size_t done = 0; done < length;) {
    ssize_t got = read(fd, bytes + done, length - done);
    if (got <= 0)
      return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

bool writeAll(int fd, const void* from, std::size_t length) {
  auto* bytes = static_cast<const char*>(from);
  for (std::size_t done = 0; done < length;) {
    ssize_t sent = send(fd, bytes + done, length - done, MSG_NOSIGNAL);
    if (sent <= 0)
      return false;
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

// ---- the served side ----

OSErr score(const AppleEvent* event, AppleEvent* reply, SRefCon) {
  Size size = 0;
  DescType type = 0;
  AESizeOfParam(event, kMessage, &type, &size);
  std::vector<char> message(static_cast<std::size_t>(size));
  AEGetParamPtr(event, kMessage, typeChar, &type, message.data(), size, &size);
  SInt16 result = static_cast<SInt16>(size % 100);
  return AEPutParamPtr(reply, keyDirectObject, typeSInt16, &result, sizeof result);
}

// Each request: a 4-byte length, that many bytes; the answer: 2 bytes.
void serveRaw(int listener) {
  for (;;) {
    int client = accept(listener, nullptr, nullptr);
    if (client < 0)
      return;
    std::thread([client] {
      std::vector<char> message;
      std::uint32_t length = 0;
      while (readAll(client, &length, sizeof length)) {
        message.resize(length);
        if (!readAll(client, message.data(), length))
          break;
        SInt16 result = static_cast<SInt16>(length % 100);
        if (!writeAll(client, &result, sizeof result))
          break;
      }
      close(client);
    }).detach();
  }
}

int serve() {
  int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, rawSocketPath().c_str(), sizeof address.sun_path - 1);
  unlink(address.sun_path);
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, 16) != 0)
    return 1;
  std::thread(serveRaw, listener).detach();
  AEInstallEventHandler(kClass, kScore, NewAEEventHandlerUPP(score), nullptr, false);
  RunApplicationEventLoop();
  return 0;
}

// ---- the measuring side ----

struct World {
  std::string root;
  pid_t served = 0;
};

World& world() {
  static World instance;
  return instance;
}

void setUpWorld() {
  auto& w = world();
  if (!w.root.empty())
    return;
  char pattern[] = "/tmp/ae-roundtrip-XXXXXX";
  w.root = mkdtemp(pattern);
  std::string runtime = w.root + "/run";
  fs::create_directories(runtime);
  fs::permissions(runtime, fs::perms::owner_all);
  setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
  setenv("HOME", (w.root + "/home").c_str(), 1);
  std::string bundle = w.root + "/Bench.app";
  fs::create_directories(bundle + "/Contents/MacOS");
  std::ofstream(bundle + "/Contents/Info.plist")
      << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
         "<key>CFBundleExecutable</key><string>bench</string>"
         "<key>CFBundlePackageType</key><string>APPL</string>"
         "<key>CFBundleSignature</key><string>Bnch</string></dict></plist>\n";
  fs::create_symlink(fs::read_symlink("/proc/self/exe"), bundle + "/Contents/MacOS/bench");

  setenv(kServeVariable, "1", 1);
  CFURLRef url = CFURLCreateFromFileSystemRepresentation(
      nullptr, reinterpret_cast<const UInt8*>(bundle.data()), static_cast<CFIndex>(bundle.size()),
      true);
  LSLaunchURLSpec launchSpec{url, nullptr, nullptr, kLSLaunchDontSwitch, nullptr};
  OSStatus launched = LSOpenFromURLSpec(&launchSpec, nullptr);
  CFRelease(url);
  unsetenv(kServeVariable);
  if (launched != noErr) {
    std::fprintf(stderr, "could not launch the served application: %d\n", launched);
    std::exit(1);
  }
  ProcessSerialNumber psn{0, kNoProcess};
  while (GetNextProcess(&psn) == noErr)
    GetProcessPID(&psn, &w.served);
}

void tearDownWorld() {
  auto& w = world();
  if (w.served > 0)
    kill(w.served, SIGTERM);
  if (!w.root.empty())
    fs::remove_all(w.root);
}

AppleEvent scoreEvent(const std::vector<char>& message) {
  AEAddressDesc target;
  OSType signature = 0x426E6368; // 'Bnch', as an OSType in host order like every caller's
  AECreateDesc(typeApplSignature, &signature, sizeof signature, &target);
  AppleEvent event;
  AECreateAppleEvent(kClass, kScore, &target, kAutoGenerateReturnID, kAnyTransactionID, &event);
  AEDisposeDesc(&target);
  AEPutParamPtr(&event, kMessage, typeChar, message.data(), static_cast<Size>(message.size()));
  return event;
}

bool exchangeEvent(AppleEvent& event, mach_port_t port) {
  AEPutAttributePtr(&event, keyReplyPortAttr, typeMachPort, &port, sizeof port);
  AppleEvent reply;
  AEInitializeDesc(&reply);
  OSStatus status = AESendMessage(&event, &reply, kAEWaitReply, kAEDefaultTimeout);
  SInt16 result = -1;
  AEGetParamPtr(&reply, keyDirectObject, typeSInt16, nullptr, &result, sizeof result, nullptr);
  AEDisposeDesc(&reply);
  return status == noErr && result == static_cast<SInt16>(kMessageSize % 100);
}

// As the plug-in does it: a new event and a new reply port for every exchange.
void BM_AppleEvent_PortPerExchange(benchmark::State& state) {
  setUpWorld();
  std::vector<char> message(kMessageSize, 'x');
  for (auto _ : state) {
    AppleEvent event = scoreEvent(message);
    mach_port_t port = MACH_PORT_NULL;
    mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port);
    if (!exchangeEvent(event, port))
      state.SkipWithError("exchange failed");
    mach_port_destroy(mach_task_self(), port);
    AEDisposeDesc(&event);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kMessageSize));
}

// One reply port kept across exchanges: its connection is reused.
void BM_AppleEvent_KeptPort(benchmark::State& state) {
  setUpWorld();
  std::vector<char> message(kMessageSize, 'x');
  mach_port_t port = MACH_PORT_NULL;
  mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port);
  for (auto _ : state) {
    AppleEvent event = scoreEvent(message);
    if (!exchangeEvent(event, port))
      state.SkipWithError("exchange failed");
    AEDisposeDesc(&event);
  }
  mach_port_destroy(mach_task_self(), port);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kMessageSize));
}

int connectRaw() {
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, rawSocketPath().c_str(), sizeof address.sun_path - 1);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

bool exchangeRaw(int fd, const std::vector<char>& message) {
  auto length = static_cast<std::uint32_t>(message.size());
  SInt16 result = -1;
  return writeAll(fd, &length, sizeof length) && writeAll(fd, message.data(), message.size()) &&
         readAll(fd, &result, sizeof result) && result == static_cast<SInt16>(kMessageSize % 100);
}

void BM_RawSocket_ConnectionPerExchange(benchmark::State& state) {
  setUpWorld();
  std::vector<char> message(kMessageSize, 'x');
  for (auto _ : state) {
    int fd = connectRaw();
    if (fd < 0 || !exchangeRaw(fd, message))
      state.SkipWithError("raw exchange failed");
    close(fd);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kMessageSize));
}

void BM_RawSocket_KeptConnection(benchmark::State& state) {
  setUpWorld();
  std::vector<char> message(kMessageSize, 'x');
  int fd = connectRaw();
  for (auto _ : state)
    if (fd < 0 || !exchangeRaw(fd, message))
      state.SkipWithError("raw exchange failed");
  close(fd);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kMessageSize));
}

// The look-up the plug-in makes before every exchange: the process list walked from its start
// until the served application's signature turns up.
void BM_ProcessWalk(benchmark::State& state) {
  setUpWorld();
  // Measured in the steady state: a lookup is answered from memory once the registry's folder
  // has not changed for a second.
  static bool settled = (std::this_thread::sleep_for(std::chrono::milliseconds(1200)), true);
  (void)settled;
  for (auto _ : state) {
    ProcessSerialNumber psn{0, kNoProcess};
    bool found = false;
    while (!found && GetNextProcess(&psn) == noErr) {
      ProcessInfoRec info{};
      info.processInfoLength = 60;
      found = GetProcessInformation(&psn, &info) == noErr && info.processSignature == 0x426E6368;
    }
    if (!found)
      state.SkipWithError("the served application is not in the process list");
  }
}

BENCHMARK(BM_AppleEvent_PortPerExchange);
BENCHMARK(BM_ProcessWalk);
BENCHMARK(BM_RawSocket_ConnectionPerExchange);
BENCHMARK(BM_AppleEvent_KeptPort);
BENCHMARK(BM_RawSocket_KeptConnection);

} // namespace

int main(int argc, char** argv) {
  if (std::getenv(kServeVariable))
    return serve();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  tearDownWorld();
  return 0;
}
