// Running the project's scripts as a user would, and the files they leave.
#pragma once
#include "TempDir.h"

#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>

struct ShellOutcome {
  int status = -1;
  std::string out; // stdout and stderr together
};

inline ShellOutcome runShell(const std::string& command) {
  ShellOutcome result;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe)
    return result;
  std::array<char, 4096> buffer{};
  for (std::size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
    result.out.append(buffer.data(), n);
  int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;
