#include "PrivateFolder.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <unix/PrivateFolder.h>
#include <unix/RetryingIO.h>

namespace fs = std::filesystem;

namespace quellbark {

bool ensurePrivateFolder(const fs::path& folder) {
  std::error_code ec;
  if (folder.has_parent_path() && !fs::exists(folder.parent_path(), ec)) {
    fs::create_directories(folder.parent_path(), ec);
  }
  return os::ensurePrivateFolder(folder.string(), os::WiderModes::narrow);
}

namespace {

constexpr std::string_view workPrefix = "work-";

// Work folders are named work-<pid>-XXXXXX; one whose process is gone is left-over.
void sweepLeftovers(const fs::path& root) {
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(root, ec)) {
    std::string const name = entry.path().filename().string();
    if (!name.starts_with(workPrefix)) {
      continue;
    }
    const long pid = std::strtol(name.c_str() + workPrefix.size(), nullptr, 10);
    if (pid > 0 && ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) {
      fs::remove_all(entry.path(), ec);
    }
  }
}

} // namespace

WorkFolder::WorkFolder(const fs::path& root) {
  if (!ensurePrivateFolder(root)) {
    return;
  }
  sweepLeftovers(root);
  std::string tmpl =
      (root / (std::string(workPrefix) + std::to_string(::getpid()) + "-XXXXXX")).string();
  if (::mkdtemp(tmpl.data()) == nullptr) {
    return;
  }
  mPath = tmpl;
}

WorkFolder::~WorkFolder() {
  if (valid()) {
    std::error_code ec;
    fs::remove_all(mPath, ec);
  }
}

fs::path WorkFolder::writeMessage(std::span<const std::string_view> parts) {
  if (!valid()) {
    return {};
  }
  fs::path const file = mPath / ("message-" + std::to_string(mNextFile++) + ".eml");
  const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) {
    return {};
  }
  const bool written = std::all_of(parts.begin(), parts.end(), [fd](std::string_view part) {
    return os::writeAll(fd, part.data(), part.size());
  });
  if (::close(fd) != 0 || !written) {
    ::unlink(file.c_str());
    return {};
  }
  return file;
}

} // namespace quellbark
