// Running programs from tests: started with an environment of the test's choosing, their output in
// files, and never left running.
#pragma once

#include "TempDir.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

extern char** environ;

namespace testsupport {

// This process's own environment, as NAME=VALUE strings.
inline std::vector<std::string> currentEnvironment() {
  std::vector<std::string> result;
  for (char** entry = environ; *entry; ++entry)
    result.emplace_back(*entry);
  return result;
}

namespace detail {

// Starts a program with the given environment and file actions, which it consumes.
inline pid_t spawn(const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment,
                   posix_spawn_file_actions_t& actions) {
  std::vector<char*> argv, envp;
  for (const std::string& a : arguments)
    argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  for (const std::string& e : environment)
    envp.push_back(const_cast<char*>(e.c_str()));
  envp.push_back(nullptr);
  pid_t pid = -1;
  int failed = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (failed)
    throw std::runtime_error("cannot start " + arguments[0] + ": " + std::strerror(failed));
  return pid;
}

} // namespace detail

// Starts a program with the given environment and /dev/null as its input, its stdout and stderr
// going to outputFile (or inherited when empty); with an errorFile, stderr goes there instead.
inline pid_t spawnProcess(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment,
                          const fs::path& outputFile = {}, const fs::path& errorFile = {}) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  if (!outputFile.empty()) {
    posix_spawn_file_actions_addopen(&actions, 1, outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    if (errorFile.empty())
      posix_spawn_file_actions_adddup2(&actions, 1, 2);
  }
  if (!errorFile.empty())
    posix_spawn_file_actions_addopen(&actions, 2, errorFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
  return detail::spawn(arguments, environment, actions);
}

// Starts a program whose standard input and output are the given descriptors (pipe ends the test
// holds the other ends of); stderr is inherited.
inline pid_t spawnConnected(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment, int input, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, 0);
  posix_spawn_file_actions_adddup2(&actions, output, 1);
  return detail::spawn(arguments, environment, actions);
}

struct Finished {
  int exitCode = -1; // -1 when it had to be killed; 128 + signal when a signal ended it
  std::string out;
  std::string err;
};

// Runs a program to its end, its output kept in files in scratch; killed after four minutes, far
// above what any run here needs, so that a hang fails its test instead of the suite.
inline Finished runToEnd(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment, const fs::path& scratch) {
  fs::path out = scratch / "run.out", err = scratch / "run.err";
  pid_t pid = spawnProcess(arguments, environment, out, err);
  int status = 0;
  Finished run;
  for (int waited = 0; waitpid(pid, &status, WNOHANG) != pid; ++waited) {
    if (waited == 48'000) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      run.err = "killed: it did not finish in time\n";
      return run;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.out = readFile(out);
  run.err = readFile(err);
  return run;
}

} // namespace testsupport
