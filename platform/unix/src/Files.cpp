// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/Files.h"

#include "unix/RetryingIO.h"
#include "unix/Syscalls.h"

#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace os {

bool isFolder(const std::string& path) {
  struct stat info {};
  return calls().stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isExecutableFile(const std::string& path) {
  struct stat info {};
  return calls().stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
         access(path.c_str(), X_OK) == 0;
}

std::vector<std::string> folderEntries(const std::string& path) {
  std::vector<std::string> names;
  if (DIR* dir = opendir(path.c_str())) {
    while (dirent* item = readdir(dir)) {
      std::string name = item->d_name;
      if (name != "." && name != "..")
        names.push_back(std::move(name));
    }
    closedir(dir);
  }
  return names;
}

std::string realPath(const std::string& path) {
  char buffer[PATH_MAX];
  return realpath(path.c_str(), buffer) ? std::string(buffer) : std::string();
}

bool readFirstBytes(const std::string& path, void* buffer, std::size_t size) {
  int fd = calls().open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0);
  if (fd < 0)
    return false;
  bool read = readExactly(fd, buffer, size);
  calls().close(fd);
  return read;
}

std::string homeFromPasswordDatabase() {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_dir)
    return found->pw_dir;
  return {};
}

bool openWakePipe(int ends[2]) {
  return pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0;
}

} // namespace os
