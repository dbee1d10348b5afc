// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/PrivateFolder.h"

#include "unix/Syscalls.h"
#include "unix/ThisProcess.h"

#include <cerrno>
#include <unistd.h>

namespace os {

bool isPrivateFolder(const std::string& path, struct stat* seen) {
  struct stat info {};
  if (calls().lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) ||
      info.st_uid != effectiveUser() || (info.st_mode & 077) != 0)
    return false;
  if (seen)
    *seen = info;
  return true;
}

bool ensurePrivateFolder(const std::string& path, WiderModes wider, struct stat* seen) {
  if (calls().mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
    return false;
  if (wider == WiderModes::narrow) {
    struct stat info {};
    if (calls().lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) ||
        info.st_uid != effectiveUser())
      return false;
    if ((info.st_mode & 077) != 0 && chmod(path.c_str(), 0700) != 0)
      return false;
  }
  return isPrivateFolder(path, seen);
}

} // namespace os
