#include "processes/ProcessStat.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace coreservices {

std::optional<std::uint64_t> processStartTime(pid_t pid) {
  if (pid <= 0)
    return std::nullopt;
  char path[32];
  std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
  int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return std::nullopt;
  char buffer[1024];
  ssize_t length = read(fd, buffer, sizeof buffer - 1);
  close(fd);
  if (length <= 0)
    return std::nullopt;
  std::string line(buffer, static_cast<std::size_t>(length));
  // The command name is parenthesised and may itself hold ')' or spaces: fields resume after
  // the last ')'.
  auto close = line.rfind(')');
  if (close == std::string::npos)
    return std::nullopt;
  std::istringstream fields(line.substr(close + 1));
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
  std::ifstream in("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  std::getline(in, name);
  return name;
}

} // namespace coreservices
