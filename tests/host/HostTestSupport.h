// Helpers for tests of the host and of the bundle it loads: the built bundle, and what this process
// writes to stderr.
#pragma once

#include "../support/Process.h"
#include "../support/TempDir.h"

#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace testsupport {

inline std::string bundlePath() {
  const char* dir = std::getenv("QB_BUILD_DIR");
  if (!dir)
    throw std::runtime_error("QB_BUILD_DIR is not set (run the tests through ctest)");
  return std::string(dir) + "/lib/QuellbarkPlugIn.so";
}

// Collects what this process writes to stderr (fd 2) between construction and text().
class StderrCapture {
public:
  explicit StderrCapture(const TempDir& scratch) : mPath(scratch / "captured-stderr.txt") {
    std::fflush(stderr);
    mSaved = dup(2);
    int fd = open(mPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, 2);
    close(fd);
  }
  ~StderrCapture() { restore(); }
  std::string text() {
    restore();
    return readFile(mPath);
  }

private:
  void restore() {
    if (mSaved < 0)
      return;
    std::fflush(stderr);
    dup2(mSaved, 2);
    close(mSaved);
    mSaved = -1;
  }
  fs::path mPath;
  int mSaved = -1;
};

} // namespace testsupport
