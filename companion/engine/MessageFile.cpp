#include "MessageFile.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

namespace quellbark {

MessageFile::MessageFile(const std::filesystem::path& folder, std::string_view name)
    : mPath((folder / name).string()), mName(name) {
  ::unlink(mPath.c_str()); // left by an earlier classifier of this process
  mFd = ::open(mPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
}

MessageFile::~MessageFile() {
  if (mFd >= 0) {
    ::close(mFd);
    ::unlink(mPath.c_str());
  }
}

bool MessageFile::hold(std::string_view bytes) {
  if (mFd < 0) {
    return false;
  }
  // Written over the old content, then cut to length when shorter: the pages are reused, not
  // freed and allocated again for every message.
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n =
        ::pwrite(mFd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      mSize = SIZE_MAX; // partly overwritten: cut next time
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  if (bytes.size() < mSize && ::ftruncate(mFd, static_cast<off_t>(bytes.size())) != 0) {
    mSize = SIZE_MAX;
    return false;
  }
  mSize = bytes.size();
  return true;
}

} // namespace quellbark
