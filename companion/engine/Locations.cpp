#include "Locations.h"

#include <cstdlib>
#include <pwd.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace quellbark {

namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::string(value) : std::string();
}

fs::path homeFolder() {
  std::string home = environment("HOME");
  if (home.empty()) {
    if (const passwd* pw = ::getpwuid(::geteuid()); pw != nullptr && pw->pw_dir != nullptr) {
      home = pw->pw_dir;
    }
  }
  return home;
}

bool isExecutableFile(const fs::path& file) {
  struct stat st {};
  return ::stat(file.c_str(), &st) == 0 && S_ISREG(st.st_mode) && ::access(file.c_str(), X_OK) == 0;
}

} // namespace

fs::path defaultDataFolder() {
  if (std::string dir = environment("QUELLBARK_DATA_DIR"); !dir.empty()) {
    return dir;
  }
  // The XDG rules ignore relative values.
  if (std::string xdg = environment("XDG_DATA_HOME"); !xdg.empty() && xdg.front() == '/') {
    return fs::path(xdg) / "Quellbark";
  }
  return homeFolder() / ".local" / "share" / "Quellbark";
}

fs::path defaultStateFolder() {
  if (std::string xdg = environment("XDG_STATE_HOME"); !xdg.empty() && xdg.front() == '/') {
    return fs::path(xdg) / "Quellbark";
  }
  return homeFolder() / ".local" / "state" / "Quellbark";
}

fs::path defaultWorkRoot(const fs::path& dataFolder) {
  auto isPrivateFolder = [](const std::string& path) {
    struct stat st {};
    return !path.empty() && path.front() == '/' && ::stat(path.c_str(), &st) == 0 &&
           S_ISDIR(st.st_mode) && st.st_uid == ::geteuid() && (st.st_mode & 077) == 0;
  };
  std::string runtime = environment("XDG_RUNTIME_DIR");
  // Started without the session's environment (by a mail filter that procmail ran), the
  // folder the system made for the user's sessions: one lock, so one Quellbark.
  if (runtime.empty()) {
    runtime = "/run/user/" + std::to_string(::geteuid());
  }
  if (isPrivateFolder(runtime)) {
    return fs::path(runtime) / "Quellbark";
  }
  return dataFolder / "work";
}

fs::path resolveProgram(const std::string& nameOrPath) {
  if (nameOrPath.empty()) {
    return {};
  }
  if (nameOrPath.find('/') != std::string::npos) {
    return isExecutableFile(nameOrPath) ? fs::path(nameOrPath) : fs::path();
  }
  std::string const path = environment("PATH");
  std::string_view rest = path;
  while (true) {
    std::size_t const colon = rest.find(':');
    std::string_view const dir = rest.substr(0, colon);
    fs::path const candidate = fs::path(dir.empty() ? "." : std::string(dir)) / nameOrPath;
    if (isExecutableFile(candidate)) {
      return candidate;
    }
    if (colon == std::string_view::npos) {
      return {};
    }
    rest.remove_prefix(colon + 1);
  }
}

} // namespace quellbark
