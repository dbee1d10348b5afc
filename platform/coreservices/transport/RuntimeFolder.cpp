#include "transport/RuntimeFolder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace coreservices {

namespace {

std::string folderPath() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime)
    return std::string(runtime) + "/AppleEvents";
  // Programs run by procmail, maildrop or cron have no XDG_RUNTIME_DIR: they use the folder the
  // system made for the user's sessions, when there is one, so that they find the applications
  // the user's session started instead of starting second ones.
  std::string session = "/run/user/" + std::to_string(geteuid());
  struct stat info {};
  if (lstat(session.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
      (info.st_mode & 077) == 0)
    return session + "/AppleEvents";
  return "/tmp/AppleEvents-" + std::to_string(geteuid());
}

bool isPrivateFolder(const std::string& path, struct stat& info) {
  if (lstat(path.c_str(), &info) != 0)
    return false;
  return S_ISDIR(info.st_mode) && info.st_uid == geteuid() && (info.st_mode & 077) == 0;
}

} // namespace

std::optional<std::string> runtimeFolder(bool create, struct stat* seen) {
  std::string path = folderPath();
  if (create && mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
    return std::nullopt;
  struct stat checked {};
  if (!isPrivateFolder(path, checked)) {
    struct stat info {};
    if (lstat(path.c_str(), &info) == 0)
      std::fprintf(stderr, "AppleEvents: refusing %s: not a folder of this user's alone\n",
                   path.c_str());
    return std::nullopt;
  }
  if (seen)
    *seen = checked;
  return path;
}

} // namespace coreservices
