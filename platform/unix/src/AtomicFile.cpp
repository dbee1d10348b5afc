// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/AtomicFile.h"

#include "unix/RetryingIO.h"
#include "unix/Syscalls.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace os {

namespace {

std::string folderOf(const std::string& path) {
  auto slash = path.find_last_of('/');
  if (slash == std::string::npos)
    return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string baseName(const std::string& path) {
  auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool fail(std::string* error, const std::string& path, const char* step, int code) {
  if (error)
    *error = path + ": cannot " + step + ": " + std::strerror(code);
  return false;
}

} // namespace

bool writeFileAtomically(const std::string& path, std::string_view bytes, std::string* error) {
  std::string folder = folderOf(path);
  // A leading dot keeps the temporary out of listings that look for finished files.
  std::string temporary = folder + "/." + baseName(path) + ".XXXXXX";
  int fd = calls().mkstemp(temporary.data()); // mode 0600
  if (fd < 0)
    return fail(error, path, "create a temporary file", errno);
  const char* step = nullptr;
  if (!writeAll(fd, bytes.data(), bytes.size()))
    step = "write";
  else if (calls().fsync(fd) != 0)
    step = "flush";
  int code = errno;
  if (calls().close(fd) != 0 && !step) {
    step = "close";
    code = errno;
  }
  if (!step && calls().rename(temporary.c_str(), path.c_str()) != 0) {
    step = "replace";
    code = errno;
  }
  if (step) {
    calls().unlink(temporary.c_str());
    return fail(error, path, step, code);
  }
  int dir = calls().open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
  if (dir >= 0) {
    calls().fsync(dir);
    calls().close(dir);
  }
  return true;
}

bool readSmallFile(const std::string& path, std::size_t maxSize, std::string& bytes,
                   struct stat* info) {
  int fd = calls().open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0);
  if (fd < 0)
    return false;
  struct stat status {};
  bool ok = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) &&
            static_cast<std::size_t>(status.st_size) <= maxSize && readToEnd(fd, bytes, maxSize);
  calls().close(fd);
  if (ok && info)
    *info = status;
  return ok;
}

} // namespace os
