// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// Every system call it makes goes through this table, so a test can make any of them fail (a
// full disk, a short write, a process that vanished) without touching the real system.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

#define OS_SHARED __attribute__((visibility("default")))

namespace os {

struct Syscalls {
  int (*open)(const char* path, int flags, mode_t mode);
  int (*mkstemp)(char* pathTemplate);
  ssize_t (*read)(int fd, void* buffer, std::size_t size);
  ssize_t (*write)(int fd, const void* bytes, std::size_t size);
  ssize_t (*send)(int socket, const void* bytes, std::size_t size, int flags);
  ssize_t (*sendmsg)(int socket, const msghdr* message, int flags);
  ssize_t (*recv)(int socket, void* buffer, std::size_t size, int flags);
  int (*poll)(pollfd* fds, nfds_t count, int timeoutMilliseconds);
  int (*fsync)(int fd);
  int (*close)(int fd);
  int (*rename)(const char* from, const char* to);
  int (*unlink)(const char* path);
  int (*mkdir)(const char* path, mode_t mode);
  int (*lstat)(const char* path, struct stat* info);
  int (*stat)(const char* path, struct stat* info);
};

// The calls in force. Every copy of this library in a process (one per shared library that
// links it) answers with the same table, because these two functions are looked up by name; an
// executable takes part when it exports its symbols (ENABLE_EXPORTS).
OS_SHARED const Syscalls& calls();
// Puts `table` in force (nullptr: the real calls) and returns the one it replaces.
OS_SHARED const Syscalls* installSyscalls(const Syscalls* table);

// The system's own calls, for a replacement to start from and fall back on.
const Syscalls& realSyscalls();

// For tests: a table in force for the object's lifetime. No other thread may be inside one of
// its calls when it ends.
class ScopedSyscalls {
public:
  explicit ScopedSyscalls(const Syscalls& table)
      : mTable(table), mPrevious(installSyscalls(&mTable)) {}
  ~ScopedSyscalls() { installSyscalls(mPrevious); }
  ScopedSyscalls(const ScopedSyscalls&) = delete;
  ScopedSyscalls& operator=(const ScopedSyscalls&) = delete;

private:
  Syscalls mTable;
  const Syscalls* mPrevious;
};

} // namespace os
