#include "profile/ProfileDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mailhost {
namespace {

std::string homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && *home)
    return home;
  if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_dir)
    return entry->pw_dir;
  return ".";
}

} // namespace

std::string defaultProfileDirectory() {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  std::string base =
      (dataHome && dataHome[0] == '/') ? std::string(dataHome) : homeDirectory() + "/.local/share";
  return base + "/mailhost/profile";
}

std::string prepareProfileDirectory(const std::string& path) {
  if (path.empty())
    return "the profile folder name is empty";
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    std::string prefix = path.substr(0, slash);
    struct stat info {};
    if (stat(prefix.c_str(), &info) == 0) {
      if (!S_ISDIR(info.st_mode))
        return "cannot use profile folder " + path + ": " + prefix + " is not a folder";
    } else if (errno != ENOENT || (mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST)) {
      return "cannot create profile folder " + path + ": " + std::strerror(errno);
    }
    if (slash == std::string::npos)
      return {};
  }
}

} // namespace mailhost
