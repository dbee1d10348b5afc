// Running a program to its end under a deadline, or as a long-lived line-by-line child.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace quellbark {

using Deadline = std::chrono::steady_clock::time_point;

struct ExitStatus {
  bool finished = false; // false: it had to be killed (deadline passed)
  int code = -1;         // exit code, -1 when ended by a signal
  int signal = 0;
  bool succeeded() const { return finished && code == 0; }
};

struct ProgramRun {
  int spawnError = 0; // errno of a failed start; 0 when the program ran
  ExitStatus exit;
  std::string out;
  std::string err;
};

// Runs a program to its end with stdin from /dev/null, collecting what it prints. A program
// still running at the deadline is killed.
ProgramRun runProgram(const std::vector<std::string>& argv, std::chrono::milliseconds timeout);

// A long-lived child fed line by line. Its stdin is a socket, so writing to a child that has
// died gives an error instead of SIGPIPE; its stderr goes to the descriptor given.
class LineChild {
public:
  // Returns null and sets spawnError when the program cannot be started. It runs in
  // `folder` when one is given.
  static std::unique_ptr<LineChild> start(const std::vector<std::string>& argv, int stderrFd,
                                          int& spawnError, const std::string& folder = {});
  ~LineChild();
  LineChild(const LineChild&) = delete;
  LineChild& operator=(const LineChild&) = delete;

  bool sendLine(std::string_view line);

  enum class Read { line, endOfOutput, deadlinePassed };
  Read readLine(std::string& line, Deadline deadline);

  // Closes the child's input and waits for it to end; kills it at the deadline.
  ExitStatus finish(Deadline deadline);
  void kill();

  pid_t pid() const { return mPid; }

private:
  LineChild(pid_t pid, int input, int output) : mPid(pid), mInput(input), mOutput(output) {}
  pid_t mPid;
  int mInput;
  int mOutput;
  std::string mPending;
};

} // namespace quellbark
