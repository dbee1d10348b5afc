// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/RuntimeFolder.h"

#include "unix/PrivateFolder.h"
#include "unix/Syscalls.h"
#include "unix/ThisProcess.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace os {

namespace {

std::string folderPath() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime)
    return std::string(runtime) + "/AppleEvents";
  // Programs run by procmail, maildrop or cron have no XDG_RUNTIME_DIR: they use the folder the
  // system made for the user's sessions, when there is one, so that they find the applications
  // the user's session started instead of starting second ones.
  std::string session = "/run/user/" + std::to_string(effectiveUser());
  if (isPrivateFolder(session))
    return session + "/AppleEvents";
  return "/tmp/AppleEvents-" + std::to_string(effectiveUser());
}

} // namespace

std::string runtimeFolderPath() {
  return folderPath();
}

std::optional<std::string> runtimeFolder(bool create, struct stat* seen) {
  std::string path = folderPath();
  if (create && calls().mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
    return std::nullopt;
  struct stat checked {};
  if (!isPrivateFolder(path, &checked)) {
    struct stat info {};
    if (calls().lstat(path.c_str(), &info) == 0)
      std::fprintf(stderr, "AppleEvents: refusing %s: not a folder of this user's alone\n",
                   path.c_str());
    return std::nullopt;
  }
  if (seen)
    *seen = checked;
  return path;
}

} // namespace os
