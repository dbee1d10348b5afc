// The lock that keeps one serving Quellbark per user and names the running one.
#pragma once

#include <filesystem>
#include <string>
#include <sys/types.h>

namespace quellbark {

// One serving Quellbark per user: a write lock (fcntl) on a file in Quellbark's runtime
// folder, held for the process's life and released by the kernel however it ends. The lock
// itself names its holder, so a second instance learns the first one's pid without a pid file
// that could be stale or half written.
class InstanceLock {
public:
  explicit InstanceLock(std::filesystem::path file) : mFile(std::move(file)) {}
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

  enum class Outcome { acquired, heldElsewhere, failed };
  // On heldElsewhere, holder() is the running instance's pid; on failed, error() says why.
  // May be tried again.
  Outcome acquire();
  pid_t holder() const { return mHolder; }
  const std::string& error() const { return mError; }

  // The pid of the instance holding the lock at `file`, or 0 when none does.
  static pid_t runningInstance(const std::filesystem::path& file);

private:
  std::filesystem::path mFile;
  int mFd = -1;
  pid_t mHolder = 0;
  std::string mError;
};

} // namespace quellbark
