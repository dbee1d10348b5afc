#include "PrivateFolder.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace quellbark {

bool ensurePrivateFolder(fs::path const& folder) {
  std::error_code ec;
  if (folder.has_parent_path() && !fs::exists(folder.parent_path(), ec)) {
    fs::create_directories(folder.parent_path(), ec);
  }
  if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    return false;
  }
  struct stat st {};
  if (::lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != ::geteuid()) {
    return false;
  }
  if ((st.st_mode & 077) != 0 && ::chmod(folder.c_str(), 0700) != 0) {
    return false;
  }
  return true;
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
  std::size_t done = 0;
  while (done < bytes.size()) {
    ssize_t const n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      ::close(fd);
      ::unlink(file.c_str());
      return {};
    }
    done += static_cast<std::size_t>(n);
  }
  if (::close(fd) != 0) {
    ::unlink(file.c_str());
    return {};
  }
  return file;
}

} // namespace quellbark
