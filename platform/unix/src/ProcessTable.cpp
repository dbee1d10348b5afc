// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/ProcessTable.h"

#include "unix/RetryingIO.h"
#include "unix/Syscalls.h"

#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace os {

namespace {

std::optional<std::string> readProcFile(pid_t pid, const char* name, std::size_t limit) {
  char path[48];
  std::snprintf(path, sizeof path, "/proc/%d/%s", static_cast<int>(pid), name);
  int fd = calls().open(path, O_RDONLY | O_CLOEXEC, 0);
  if (fd < 0)
    return std::nullopt;
  std::string text(limit, '\0');
  ssize_t length = readSome(fd, text.data(), limit);
  calls().close(fd);
  if (length <= 0)
    return std::nullopt;
  text.resize(static_cast<std::size_t>(length));
  return text;
}

} // namespace

std::optional<std::uint64_t> processStartTime(pid_t pid) {
  if (pid <= 0)
    return std::nullopt;
  auto line = readProcFile(pid, "stat", 1023);
  if (!line)
    return std::nullopt;
  // The command name is parenthesised and may itself hold ')' or spaces: fields resume after
  // the last ')'.
  auto close = line->rfind(')');
  if (close == std::string::npos)
    return std::nullopt;
  std::istringstream fields(line->substr(close + 1));
  std::string state;
  fields >> state;
  if (state.empty() || state == "Z" || state == "X" || state == "x")
    return std::nullopt;
  // After the state come fields 4..21; the start time is field 22.
  std::string skip;
  for (int field = 4; field <= 21; ++field)
    fields >> skip;
  std::uint64_t start = 0;
  if (!(fields >> start))
    return std::nullopt;
  return start;
}

std::uint32_t startTimeInSixtieths(std::uint64_t startTime) {
  static const long ticksPerSecond = sysconf(_SC_CLK_TCK) > 0 ? sysconf(_SC_CLK_TCK) : 100;
  return static_cast<std::uint32_t>(startTime * 60 / static_cast<std::uint64_t>(ticksPerSecond));
}

bool processIsAlive(pid_t pid, std::uint64_t startTime) {
  auto actual = processStartTime(pid);
  return actual && *actual == startTime;
}

std::string processCommandName(pid_t pid) {
  auto name = readProcFile(pid, "comm", 255);
  if (!name)
    return {};
  if (auto end = name->find('\n'); end != std::string::npos)
    name->resize(end);
  return *name;
}

std::string thisExecutable() {
  char buffer[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  return length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
}

std::string thisFirstArgumentAsFile() {
  std::string argument;
  if (auto line = readProcFile(getpid(), "cmdline", 4096))
    argument = line->substr(0, line->find('\0'));
  if (argument.empty() || argument.find('/') == std::string::npos)
    return {};
  if (argument[0] != '/') {
    char cwd[PATH_MAX];
    if (!getcwd(cwd, sizeof cwd))
      return {};
    argument = std::string(cwd) + "/" + argument;
  }
  struct stat info {};
  return calls().stat(argument.c_str(), &info) == 0 && S_ISREG(info.st_mode) ? argument
                                                                             : std::string();
}

int openProcess(pid_t pid) {
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

} // namespace os
