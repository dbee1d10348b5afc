// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/ThisProcess.h"

#include <atomic>
#include <pthread.h>
#include <unistd.h>

namespace os {

namespace {

std::atomic<pid_t> rememberedPid{0};

void forgetPidInChild() {
  rememberedPid.store(0, std::memory_order_relaxed);
}

} // namespace

pid_t thisProcessID() {
  pid_t pid = rememberedPid.load(std::memory_order_relaxed);
  if (pid != 0)
    return pid;
  static const bool forgottenAtFork = pthread_atfork(nullptr, nullptr, forgetPidInChild) == 0;
  pid = getpid();
  if (forgottenAtFork)
    rememberedPid.store(pid, std::memory_order_relaxed);
  return pid;
}

uid_t effectiveUser() {
  static const uid_t user = geteuid();
  return user;
}

} // namespace os
