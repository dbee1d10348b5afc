#include "PrivateFolder.h"

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

bool ensurePrivateFolder(fs::path const& folder) {
  std::error_code ec;
  if (folder.has_parent_path() && !fs::exists(folder.parent_path(), ec)) {
    fs::create_directories(folder.parent_path(), ec);
  }
  return os::ensurePrivateFolder(folder.string(), os::WiderModes::narrow);
}

namespace {

constexpr std::string_view workPrefix = "work-";

// Work folders are named work-<pid>-XXXXXX; one whose process is gone is left-over.
void sweepLeftovers(fs::path const& root) {
  std::error_code ec;
  for (auto const& entry : fs::directory_iterator(root, ec)) {
    std::string const name = entry.path().filename().string();
    if (!name.starts_with(workPrefix)) {
      continue;
    }
    long const pid = std::strtol(name.c_str() + workPrefix.size(), nullptr, 10);
    if (pid > 0 && ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) {
      fs::remove_all(entry.path(), ec);
    }
  }
}

} // namespace

WorkFolder::WorkFolder(fs::path const& root) {
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

fs::path WorkFolder::writeMessage(std::string_view bytes) {
  if (!valid()) {
    return {};
  }
  fs::path const file = mPath / ("message-" + std::to_string(mNextFile++) + ".eml");
  int const fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) {
    return {};
  }
  bool const written = os::writeAll(fd, bytes.data(), bytes.size());
  if (::close(fd) != 0 || !written) {
    ::unlink(file.c_str());
    return {};
  }
  return file;
}

} // namespace quellbark
