// quellbark_rate: the ceiling of one synchronous Apple Event per message. Reads message file
// names from stdin, and for each one does what the plug-in does before and during a score: walks
// the process list for Quellbark's signature (launching it through Launch Services when it does
// not run), builds the 'Qscr' event, allocates a fresh reply port, sends with kAEWaitReply,
// reads 'errn' and the score, and frees everything. Files are read before the clock starts.
//
//   find <folders> -path '*/cur/*' -type f | quellbark_rate [--scores] [--repeat N] [--senders N]
// Prints "<messages> messages in <s> s, <rate> messages/s, <ms> ms CPU per message (this
// process)"; with --scores also "<file> <score|errn ...>" per message first. --repeat sends the
// list N times over (memory stays that of one list); --senders splits the messages among N
// sender processes running at once, as parallel hosts do (their CPU is counted together).
#include <ApplicationServices/ApplicationServices.h>
#include <CoreServices/CoreServices.h>
#include <CoreServices/LaunchServices/LaunchServices.h>
#include <mach/mach.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr OSType code(const char (&text)[5]) {
  return static_cast<OSType>(static_cast<unsigned char>(text[0])) << 24 |
         static_cast<OSType>(static_cast<unsigned char>(text[1])) << 16 |
         static_cast<OSType>(static_cast<unsigned char>(text[2])) << 8 |
         static_cast<OSType>(static_cast<unsigned char>(text[3]));
}

constexpr OSType kSignature = code("Qbrk");
constexpr OSType kScoreEvent = code("Qscr");
constexpr AEKeyword kMessageParam = code("Mess");

bool quellbarkRuns() {
  ProcessSerialNumber psn{0, kNoProcess};
  while (GetNextProcess(&psn) == noErr) {
    ProcessInfoRec info{};
    info.processInfoLength = 60;
    info.processName = nullptr;
    info.processAppRef = nullptr;
    if (GetProcessInformation(&psn, &info) == noErr && info.processSignature == kSignature)
      return true;
  }
  return false;
}

void launchIfNecessary() {
  if (quellbarkRuns())
    return;
  CFURLRef app = nullptr;
  if (LSFindApplicationForInfo(kSignature, nullptr, nullptr, nullptr, &app) != noErr)
    return;
  LSLaunchURLSpec spec{app, nullptr, nullptr, kLSLaunchDontSwitch, nullptr};
  LSOpenFromURLSpec(&spec, nullptr);
  CFRelease(app);
}

// One exchange as the plug-in makes it; the score, or the error that came instead.
OSErr score(const std::string& message, SInt16& result) {
  launchIfNecessary();
  AppleEvent event{typeNull, nullptr};
  AEBuildError buildError{};
  const OSType target = kSignature;
  OSErr err = static_cast<OSErr>(
      AEBuildAppleEvent(kSignature, kScoreEvent, typeApplSignature, &target, sizeof target,
                        kAutoGenerateReturnID, kAnyTransactionID, &event, &buildError,
                        "'----':'null'(),bDec:bool(@),bRFC:bool(@),sSEP:'TEXT'(@)", 1, 1, ""));
  if (err != noErr)
    return err;
  err = AEPutParamPtr(&event, kMessageParam, typeChar, message.data(),
                      static_cast<Size>(message.size()));
  if (err != noErr) {
    AEDisposeDesc(&event);
    return err;
  }
  mach_port_t port = MACH_PORT_NULL;
  mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port);
  AEPutAttributePtr(&event, keyReplyPortAttr, typeMachPort, &port, sizeof port);
  AppleEvent reply{typeNull, nullptr};
  err = static_cast<OSErr>(AESendMessage(&event, &reply, kAEWaitReply, kAEDefaultTimeout));
  if (err == noErr && reply.descriptorType != typeNull) {
    SInt16 errn = 0;
    if (AEGetParamPtr(&reply, keyErrorNumber, typeSInt16, nullptr, &errn, sizeof errn, nullptr) ==
        noErr)
      err = errn;
    if (err == noErr)
      err = AEGetParamPtr(&reply, keyDirectObject, typeSInt16, nullptr, &result, sizeof result,
                          nullptr);
  }
  AEDisposeDesc(&reply);
  mach_port_destroy(mach_task_self(), port);
  AEDisposeDesc(&event);
  return err;
}

double cpuSeconds() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  rusage children{};
  getrusage(RUSAGE_CHILDREN, &children);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9 +
         static_cast<double>(children.ru_utime.tv_sec + children.ru_stime.tv_sec) +
         static_cast<double>(children.ru_utime.tv_usec + children.ru_stime.tv_usec) / 1e6;
}

// Sends every `step`-th of the messages from `first` on, `repeat` times over; the failures.
std::size_t sendShare(const std::vector<std::string>& names,
                      const std::vector<std::string>& messages, std::size_t first, std::size_t step,
                      long repeat, bool printScores) {
  std::size_t failed = 0;
  for (long round = 0; round < repeat; ++round) {
    for (std::size_t i = first; i < messages.size(); i += step) {
      SInt16 result = 0;
      const OSErr err = score(messages[i], result);
      failed += err != noErr;
      if (printScores) {
        if (err == noErr)
          std::printf("%s %d\n", names[i].c_str(), result);
        else
          std::printf("%s errn %d\n", names[i].c_str(), err);
      }
    }
  }
  return failed;
}

} // namespace

int main(int argc, char** argv) {
  bool printScores = false;
  long repeat = 1;
  long senders = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--scores") == 0) {
      printScores = true;
    } else if (std::strcmp(argv[i], "--repeat") == 0 && i + 1 < argc) {
      repeat = std::max(1L, std::atol(argv[++i]));
    } else if (std::strcmp(argv[i], "--senders") == 0 && i + 1 < argc) {
      senders = std::max(1L, std::atol(argv[++i]));
    } else {
      std::fprintf(stderr, "usage: quellbark_rate [--scores] [--repeat N] [--senders N]\n");
      return 2;
    }
  }
  std::vector<std::string> names;
  std::vector<std::string> messages;
  for (std::string name; std::getline(std::cin, name);) {
    if (name.empty())
      continue;
    std::ifstream in(name, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "quellbark_rate: cannot read %s\n", name.c_str());
      return 2;
    }
    std::ostringstream bytes;
    bytes << in.rdbuf();
    names.push_back(name);
    messages.push_back(bytes.str());
  }
  launchIfNecessary();

  std::size_t failed = 0;
  std::fflush(stdout);
  const auto start = std::chrono::steady_clock::now();
  const double cpuStart = cpuSeconds();
  if (senders == 1) {
    failed = sendShare(names, messages, 0, 1, repeat, printScores);
  } else {
    // Each sender is a process of its own (the connection it holds is its own).
    std::vector<pid_t> children;
    for (long k = 0; k < senders; ++k) {
      const pid_t child = fork();
      if (child == 0) {
        const std::size_t lost = sendShare(names, messages, static_cast<std::size_t>(k),
                                           static_cast<std::size_t>(senders), repeat, printScores);
        std::fflush(stdout);
        _exit(static_cast<int>(std::min<std::size_t>(lost, 255)));
      }
      children.push_back(child);
    }
    for (const pid_t child : children) {
      int status = 0;
      waitpid(child, &status, 0);
      failed += WIFEXITED(status) ? static_cast<std::size_t>(WEXITSTATUS(status)) : 1;
    }
  }
  const double cpu = cpuSeconds() - cpuStart;
  const double wall =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double count = static_cast<double>(messages.size()) * static_cast<double>(repeat);
  std::printf("%.0f messages in %.3f s, %.1f messages/s, %.3f ms CPU per message (this "
              "process), %zu failed\n",
              count, wall, wall > 0 ? count / wall : 0.0, count > 0 ? 1000.0 * cpu / count : 0.0,
              failed);
  return failed == 0 ? 0 : 1;
}
