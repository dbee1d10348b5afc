// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/DetachedProcess.h"

#include "unix/RetryingIO.h"
#include "unix/Syscalls.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace os {

namespace {

// Runs in the forked grandchild: only async-signal-safe calls until exec.
[[noreturn]] void becomeProgram(const char* path, char* const* argv, int report) {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  for (int signal = 1; signal < NSIG; ++signal)
    sigaction(signal, &standard, nullptr);
  // A launched application holds none of its launcher's standard streams, as a desktop
  // application: a pipe on the launcher's output or errors closes when the launcher ends, not
  // when the application quits. The application keeps its own log.
  int input = open("/dev/null", O_RDONLY);
  if (input >= 0 && input != STDIN_FILENO) {
    dup2(input, STDIN_FILENO);
    close(input);
  }
  int output = open("/dev/null", O_WRONLY);
  if (output >= 0) {
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    if (output > STDERR_FILENO)
      close(output);
  }
  // Nor does it keep the CPUs its launcher's thread was held to for a while: every CPU the
  // system lets it use (the kernel leaves out those outside its cpuset).
  cpu_set_t every;
  std::memset(&every, 0xff, sizeof every);
  sched_setaffinity(0, sizeof every, &every);
  // Everything else closes at exec, the report pipe included.
  syscall(SYS_close_range, 3u, ~0u, CLOSE_RANGE_CLOEXEC);
  execv(path, argv);
  int error = errno;
  ssize_t ignored = write(report, &error, sizeof error);
  (void)ignored;
  _exit(127);
}

} // namespace

DetachedProcess startDetached(const std::string& executable,
                              const std::vector<std::string>& arguments) {
  std::vector<std::string> strings{executable};
  strings.insert(strings.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (auto& text : strings)
    argv.push_back(text.data());
  argv.push_back(nullptr);

  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0)
    return {};
  pid_t intermediate = fork();
  if (intermediate < 0) {
    calls().close(report[0]);
    calls().close(report[1]);
    return {};
  }
  if (intermediate == 0) {
    close(report[0]);
    setsid();
    pid_t program = fork();
    if (program == 0)
      becomeProgram(executable.c_str(), argv.data(), report[1]);
    ssize_t ignored = write(report[1], &program, sizeof program);
    (void)ignored;
    _exit(program < 0 ? 1 : 0);
  }
  calls().close(report[1]);
  int ignoredStatus = 0;
  while (waitpid(intermediate, &ignoredStatus, 0) < 0 && errno == EINTR) {
  }

  DetachedProcess outcome;
  // First the program's pid from the intermediate child, then either end of file (exec
  // succeeded, closing the pipe) or the errno of a failed exec.
  if (!readExactly(report[0], &outcome.pid, sizeof outcome.pid) || outcome.pid <= 0) {
    calls().close(report[0]);
    return {};
  }
  outcome.started = true;
  if (!readExactly(report[0], &outcome.execError, sizeof outcome.execError))
    outcome.execError = 0;
  calls().close(report[0]);
  return outcome;
}

} // namespace os
