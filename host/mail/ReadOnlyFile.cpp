#include "ReadOnlyFile.h"

#include "MailError.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mailhost {

namespace {

MailError openError(const std::filesystem::path& path, int error) {
  MailErrorKind kind = MailErrorKind::Io;
  if (error == ENOENT || error == ENOTDIR)
    kind = MailErrorKind::NotFound;
  else if (error == EACCES || error == EPERM)
    kind = MailErrorKind::AccessDenied;
  return MailError(kind, path.string() + ": " + std::strerror(error));
}

} // namespace

ReadOnlyFile::ReadOnlyFile(const std::filesystem::path& path) : mPath(path) {
  mFd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (mFd < 0)
    throw openError(path, errno);
  if (::fstat(mFd, &mStatus) != 0) {
    int error = errno;
    ::close(mFd);
    throw openError(path, error);
  }
  if (!S_ISREG(mStatus.st_mode)) {
    ::close(mFd);
    throw MailError(MailErrorKind::NotAFolder, path.string() + ": not a regular file");
  }
}

ReadOnlyFile::~ReadOnlyFile() {
  if (mFd >= 0)
    ::close(mFd);
}

std::size_t ReadOnlyFile::readAt(std::uint64_t offset, char* buffer, std::size_t count) const {
  std::size_t done = 0;
  while (done < count) {
    ssize_t got = ::pread(mFd, buffer + done, count - done, static_cast<off_t>(offset + done));
    if (got < 0) {
      if (errno == EINTR)
        continue;
      throw MailError(MailErrorKind::Io, mPath.string() + ": " + std::strerror(errno));
    }
    if (got == 0)
      break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

int ReadOnlyFile::release() {
  int fd = mFd;
  mFd = -1;
  return fd;
}

} // namespace mailhost
