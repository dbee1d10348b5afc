#include "QuellbarkState.h"

#include <ApplicationServices/ApplicationServices.h>
#include <CoreServices/CoreServices.h>
#include <QuellbarkEvents.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace mailhost {

namespace {

constexpr auto kStatusTimeout = std::chrono::seconds(10);
constexpr UInt32 kProcessInfoLength = 60; // the classic record: the signature lies inside it

bool isRunning() {
  ProcessSerialNumber process = {0, kNoProcess};
  while (GetNextProcess(&process) == noErr) {
    ProcessInfoRec info = {};
    info.processInfoLength = kProcessInfoLength;
    if (GetProcessInformation(&process, &info) == noErr &&
        info.processSignature == kQuellbarkSignature)
      return true;
  }
  return false;
}

std::string bundlePath() {
  CFURLRef url = nullptr;
  if (LSFindApplicationForInfo(kQuellbarkSignature, nullptr, nullptr, nullptr, &url) != noErr ||
      !url)
    return {};
  CFStringRef path = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle);
  CFRelease(url);
  char text[4096] = {};
  bool ok = path && CFStringGetCString(path, text, sizeof text, kCFStringEncodingUTF8);
  if (path)
    CFRelease(path);
  return ok ? text : "";
}

// The bundle's executable: named like the bundle, else the only program in Contents/MacOS.
std::string executableOf(const std::filesystem::path& bundle) {
  std::filesystem::path dir = bundle / "Contents" / "MacOS";
  std::filesystem::path named = dir / bundle.stem();
  std::error_code ec;
  if (std::filesystem::is_regular_file(named, ec))
    return named;
  std::string only;
  for (const auto& entry : std::filesystem::directory_iterator(dir, ec)) {
    if (!entry.is_regular_file(ec))
      continue;
    if (!only.empty())
      return {};
    only = entry.path();
  }
  return only;
}

// Runs `program status` with its output on a pipe, for at most kStatusTimeout.
bool runStatus(const std::string& program, std::string& output, std::string& problem) {
  int pipeFds[2];
  if (::pipe2(pipeFds, O_CLOEXEC) != 0) {
    problem = "cannot make a pipe";
    return false;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>("status"), nullptr};
  pid_t pid = -1;
  int rc = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipeFds[1]);
  if (rc != 0) {
    ::close(pipeFds[0]);
    problem = "cannot run " + program;
    return false;
  }
  auto deadline = std::chrono::steady_clock::now() + kStatusTimeout;
  bool timedOut = false;
  char buffer[4096];
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      timedOut = true;
      break;
    }
    pollfd entry = {pipeFds[0], POLLIN, 0};
    int ready = ::poll(&entry, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR)
      continue;
    if (ready <= 0)
      continue;
    ssize_t n = ::read(pipeFds[0], buffer, sizeof buffer);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      break;
    if (output.size() < 64 * 1024)
      output.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(pipeFds[0]);
  if (timedOut)
    ::kill(pid, SIGKILL);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (timedOut) {
    problem = "the status report did not finish in time";
    return false;
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    problem = "the status report failed (the word list cannot be used)";
    return false;
  }
  return true;
}

} // namespace

bool parseLearnedCounts(const std::string& statusText, std::int64_t& spam, std::int64_t& good) {
  std::size_t at = statusText.find("Learned:");
  if (at == std::string::npos)
    return false;
  long long s = 0, g = 0;
  if (std::sscanf(statusText.c_str() + at, "Learned: %lld spam, %lld good", &s, &g) != 2)
    return false;
  spam = s;
  good = g;
  return true;
}

QuellbarkState probeQuellbark() {
  QuellbarkState state;
  state.running = isRunning();
  state.path = bundlePath();
  state.found = !state.path.empty();
  if (!state.found) {
    state.problem = "Launch Services finds no Quellbark application";
    return state;
  }
  std::string program = executableOf(state.path);
  if (program.empty()) {
    state.problem = "the Quellbark bundle holds no program";
    return state;
  }
  std::string output;
  std::int64_t spam = 0, good = 0;
  if (!runStatus(program, output, state.problem))
    return state;
  if (!parseLearnedCounts(output, spam, good)) {
    state.problem = "the status report names no counts";
    return state;
  }
  state.learnedSpam = spam;
  state.learnedGood = good;
  return state;
}

} // namespace mailhost
