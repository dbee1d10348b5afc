#include "Subprocess.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace quellbark {

namespace {

using Clock = std::chrono::steady_clock;

int millisecondsUntil(Deadline deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  return left.count() <= 0 ? 0 : static_cast<int>(std::min<long long>(left.count(), 60'000));
}

void closeQuietly(int& fd) {
  if (fd >= 0) {
    ::close(fd);
    fd = -1;
  }
}

// Starts argv with the three standard descriptors given; the child gets default signal
// dispositions and an empty mask whatever this process has blocked or ignored.
pid_t spawn(const std::vector<std::string>& argv, int in, int out, int err, int& spawnError,
            const std::string& folder = {}) {
  std::vector<char*> args;
  for (const auto& a : argv) {
    args.push_back(const_cast<char*>(a.c_str()));
  }
  args.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in, 0);
  posix_spawn_file_actions_adddup2(&actions, out, 1);
  posix_spawn_file_actions_adddup2(&actions, err, 2);
  if (!folder.empty()) {
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
  }
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t all;
  sigset_t none;
  sigfillset(&all);
  sigemptyset(&none);
  posix_spawnattr_setsigdefault(&attr, &all);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

  pid_t pid = -1;
  spawnError = ::posix_spawn(&pid, args[0], &actions, &attr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  return spawnError == 0 ? pid : -1;
}

ExitStatus decode(int status) {
  ExitStatus s;
  s.finished = true;
  if (WIFEXITED(status)) {
    s.code = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    s.signal = WTERMSIG(status);
  }
  return s;
}

ExitStatus waitUntil(pid_t pid, Deadline deadline) {
  int status = 0;
  while (true) {
    const pid_t r = ::waitpid(pid, &status, WNOHANG);
    if (r == pid) {
      return decode(status);
    }
    if (r < 0 && errno != EINTR) {
      return {};
    }
    if (Clock::now() >= deadline) {
      ::kill(pid, SIGKILL);
      while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
      }
      return {};
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

} // namespace

ProgramRun runProgram(const std::vector<std::string>& argv, std::chrono::milliseconds timeout) {
  ProgramRun run;
  const Deadline deadline = Clock::now() + timeout;
  int outPipe[2] = {-1, -1};
  int errPipe[2] = {-1, -1};
  int devNull = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (devNull < 0 || ::pipe2(outPipe, O_CLOEXEC) != 0 || ::pipe2(errPipe, O_CLOEXEC) != 0) {
    run.spawnError = errno;
    closeQuietly(devNull);
    for (int* fd : {&outPipe[0], &outPipe[1], &errPipe[0], &errPipe[1]}) {
      closeQuietly(*fd);
    }
    return run;
  }
  const pid_t pid = spawn(argv, devNull, outPipe[1], errPipe[1], run.spawnError);
  closeQuietly(devNull);
  closeQuietly(outPipe[1]);
  closeQuietly(errPipe[1]);
  if (pid > 0) {
    pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
    std::string* sinks[2] = {&run.out, &run.err};
    int open = 2;
    while (open > 0 && Clock::now() < deadline) {
      if (::poll(fds, 2, millisecondsUntil(deadline)) < 0 && errno != EINTR) {
        break;
      }
      for (int i = 0; i < 2; ++i) {
        if (fds[i].fd >= 0 && (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
          char buffer[4096];
          const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
          if (n > 0) {
            sinks[i]->append(buffer, static_cast<std::size_t>(n));
          } else if (n == 0 || errno != EINTR) {
            fds[i].fd = -1;
            --open;
          }
        }
      }
    }
    run.exit = waitUntil(pid, deadline);
  }
  closeQuietly(outPipe[0]);
  closeQuietly(errPipe[0]);
  return run;
}

std::unique_ptr<LineChild> LineChild::start(const std::vector<std::string>& argv, int stderrFd,
                                            int& spawnError, const std::string& folder) {
  int input[2] = {-1, -1};
  int output[2] = {-1, -1};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input) != 0) {
    spawnError = errno;
    return nullptr;
  }
  if (::pipe2(output, O_CLOEXEC) != 0) {
    spawnError = errno;
    closeQuietly(input[0]);
    closeQuietly(input[1]);
    return nullptr;
  }
  const pid_t pid = spawn(argv, input[1], output[1], stderrFd, spawnError, folder);
  closeQuietly(input[1]);
  closeQuietly(output[1]);
  if (pid <= 0) {
    closeQuietly(input[0]);
    closeQuietly(output[0]);
    return nullptr;
  }
  return std::unique_ptr<LineChild>(new LineChild(pid, input[0], output[0]));
}

LineChild::~LineChild() {
  kill();
}

bool LineChild::sendLine(std::string_view line) {
  std::string text(line);
  text.push_back('\n');
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::send(mInput, text.data() + done, text.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  return true;
}

LineChild::Read LineChild::readLine(std::string& line, Deadline deadline) {
  while (true) {
    if (std::size_t const nl = mPending.find('\n'); nl != std::string::npos) {
      line = mPending.substr(0, nl);
      mPending.erase(0, nl + 1);
      return Read::line;
    }
    if (mOutput < 0) {
      return Read::endOfOutput;
    }
    pollfd fd{mOutput, POLLIN, 0};
    const int ready = ::poll(&fd, 1, millisecondsUntil(deadline));
    if (ready < 0 && errno == EINTR) {
      continue;
    }
    if (ready == 0) {
      return Read::deadlinePassed;
    }
    char buffer[4096];
    const ssize_t n = ::read(mOutput, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      closeQuietly(mOutput);
      continue;
    }
    mPending.append(buffer, static_cast<std::size_t>(n));
  }
}

ExitStatus LineChild::finish(Deadline deadline) {
  if (mPid <= 0) {
    return {};
  }
  closeQuietly(mInput);
  // Drain what is left so a child blocked on a full pipe can still end.
  std::string ignored;
  while (readLine(ignored, deadline) == Read::line) {
  }
  const ExitStatus status = waitUntil(mPid, deadline);
  mPid = -1;
  closeQuietly(mOutput);
  return status;
}

void LineChild::kill() {
  if (mPid > 0) {
    ::kill(mPid, SIGKILL);
    int status = 0;
    while (::waitpid(mPid, &status, 0) < 0 && errno == EINTR) {
    }
    mPid = -1;
  }
  closeQuietly(mInput);
  closeQuietly(mOutput);
}

} // namespace quellbark
