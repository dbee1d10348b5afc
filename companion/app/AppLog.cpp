#include "AppLog.h"

#include "PrivateFolder.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace quellbark {

namespace {

std::mutex gMutex;
fs::path gFile; // empty while the log is standard error as found

// Standard error leads nowhere when it is closed or is the null device.
bool standardErrorIsDiscarded() {
  struct stat err {};
  if (::fstat(STDERR_FILENO, &err) != 0) {
    return true;
  }
  struct stat null {};
  return S_ISCHR(err.st_mode) && ::stat("/dev/null", &null) == 0 && err.st_rdev == null.st_rdev;
}

// Points standard error at the end of `file`, made 0600 if new.
bool attachStandardError(const fs::path& file) {
  const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) {
    return false;
  }
  struct stat st {};
  const bool ours = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == ::geteuid() &&
                    ((st.st_mode & 077) == 0 || ::fchmod(fd, 0600) == 0);
  const bool attached = ours && ::dup2(fd, STDERR_FILENO) == STDERR_FILENO;
  ::close(fd);
  return attached;
}

void rotateIfFull() {
  struct stat st {};
  if (::fstat(STDERR_FILENO, &st) != 0 ||
      static_cast<std::uintmax_t>(st.st_size) < AppLog::kRotateSize) {
    return;
  }
  fs::path older = gFile;
  older += ".1";
  if (::rename(gFile.c_str(), older.c_str()) == 0) {
    attachStandardError(gFile);
  }
}

} // namespace

void AppLog::start(const fs::path& stateFolder) {
  std::lock_guard lock(gMutex);
  if (!standardErrorIsDiscarded() || !ensurePrivateFolder(stateFolder)) {
    return;
  }
  if (attachStandardError(stateFolder / "Quellbark.log")) {
    gFile = stateFolder / "Quellbark.log";
  }
}

void AppLog::line(const std::string& text) {
  std::lock_guard lock(gMutex);
  if (gFile.empty()) {
    std::fprintf(stderr, "Quellbark: %s\n", text.c_str());
    return;
  }
  rotateIfFull();
  std::time_t const now = std::time(nullptr);
  std::tm local{};
  char stamp[32] = "";
  if (::localtime_r(&now, &local) != nullptr) {
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S ", &local);
  }
  std::fprintf(stderr, "%sQuellbark: %s\n", stamp, text.c_str());
  std::fflush(stderr);
}

} // namespace quellbark
