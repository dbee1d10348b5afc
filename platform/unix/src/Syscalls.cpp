// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/Syscalls.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

namespace os {

namespace {

const Syscalls kReal{
    [](const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); },
    [](char* pathTemplate) { return ::mkstemp(pathTemplate); },
    [](int fd, void* buffer, std::size_t size) { return ::read(fd, buffer, size); },
    [](int fd, const void* bytes, std::size_t size) { return ::write(fd, bytes, size); },
    [](int socket, const void* bytes, std::size_t size, int flags) {
      return ::send(socket, bytes, size, flags);
    },
    [](int socket, const msghdr* message, int flags) { return ::sendmsg(socket, message, flags); },
    [](int socket, void* buffer, std::size_t size, int flags) {
      return ::recv(socket, buffer, size, flags);
    },
    [](pollfd* fds, nfds_t count, int timeout) { return ::poll(fds, count, timeout); },
    [](int fd) { return ::fsync(fd); },
    [](int fd) { return ::close(fd); },
    [](const char* from, const char* to) { return std::rename(from, to); },
    [](const char* path) { return ::unlink(path); },
    [](const char* path, mode_t mode) { return ::mkdir(path, mode); },
    [](const char* path, struct stat* info) { return ::lstat(path, info); },
    [](const char* path, struct stat* info) { return ::stat(path, info); },
};

std::atomic<const Syscalls*> gInForce{&kReal};

} // namespace

const Syscalls& realSyscalls() {
  return kReal;
}

const Syscalls& calls() {
  return *gInForce.load(std::memory_order_acquire);
}

const Syscalls* installSyscalls(const Syscalls* table) {
  return gInForce.exchange(table ? table : &kReal, std::memory_order_acq_rel);
}

} // namespace os
