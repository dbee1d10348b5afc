#include "InstanceLock.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace quellbark {

namespace {

struct flock wholeFile(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

// The pid holding a write lock on fd, 0 when none is held.
pid_t lockHolder(int fd) {
  struct flock probe = wholeFile(F_WRLCK);
  if (::fcntl(fd, F_GETLK, &probe) != 0 || probe.l_type == F_UNLCK) {
    return 0;
  }
  return probe.l_pid;
}

} // namespace

InstanceLock::~InstanceLock() {
  if (mFd >= 0) {
    ::close(mFd);
  }
}

InstanceLock::Outcome InstanceLock::acquire() {
  if (mFd < 0) {
    mFd = ::open(mFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  }
  if (mFd < 0) {
    mError = "cannot open " + mFile.string() + ": " + std::strerror(errno);
    return Outcome::failed;
  }
  // A holder that ends between the attempt and the question leaves the lock free: try again.
  for (int attempt = 0; attempt < 100; ++attempt) {
    struct flock lock = wholeFile(F_WRLCK);
    if (::fcntl(mFd, F_SETLK, &lock) == 0) {
      return Outcome::acquired;
    }
    if (errno != EACCES && errno != EAGAIN) {
      mError = "cannot lock " + mFile.string() + ": " + std::strerror(errno);
      return Outcome::failed;
    }
    if ((mHolder = lockHolder(mFd)) != 0) {
      return Outcome::heldElsewhere;
    }
  }
  mError = "cannot lock " + mFile.string() + ": it changes hands constantly";
  return Outcome::failed;
}

pid_t InstanceLock::runningInstance(const std::filesystem::path& file) {
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (fd < 0) {
    return 0;
  }
  const pid_t holder = lockHolder(fd);
  ::close(fd);
  return holder;
}

} // namespace quellbark
