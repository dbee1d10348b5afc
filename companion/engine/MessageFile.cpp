#include "MessageFile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

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

bool MessageFile::hold(std::span<const std::string_view> parts) {
  if (mFd < 0) {
    return false;
  }
  // Written over the old content, then cut to length when shorter: the pages are reused, not
  // freed and allocated again for every message. The parts go in one call, not joined first.
  std::vector<iovec> pending;
  std::size_t size = 0;
  for (std::string_view const part : parts) {
    if (!part.empty()) {
      pending.push_back({const_cast<char*>(part.data()), part.size()});
      size += part.size();
    }
  }
  std::size_t done = 0;
  for (std::size_t first = 0; first < pending.size();) {
    const int count = static_cast<int>(std::min<std::size_t>(pending.size() - first, IOV_MAX));
    const ssize_t n = ::pwritev(mFd, pending.data() + first, count, static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      mSize = SIZE_MAX; // partly overwritten: cut next time
      return false;
    }
    done += static_cast<std::size_t>(n);
    for (auto left = static_cast<std::size_t>(n); left > 0;) {
      iovec& part = pending[first];
      std::size_t const taken = std::min(left, part.iov_len);
      part.iov_base = static_cast<char*>(part.iov_base) + taken;
      part.iov_len -= taken;
      left -= taken;
      if (part.iov_len == 0) {
        ++first;
      }
    }
  }
  if (size < mSize && ::ftruncate(mFd, static_cast<off_t>(size)) != 0) {
    mSize = SIZE_MAX;
    return false;
  }
  mSize = size;
  return true;
}

} // namespace quellbark
