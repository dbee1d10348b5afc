// Helpers for tests that work with real files and real processes.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace testsupport {

inline std::string buildDir() {
  const char* dir = std::getenv("QB_BUILD_DIR");
  if (!dir)
    throw std::runtime_error("QB_BUILD_DIR is not set (run the tests through ctest)");
  return dir;
}

inline std::string bundlePath() {
  return buildDir() + "/lib/QuellbarkPlugIn.so";
}

// A fresh folder under TMPDIR, removed with everything in it at the end of the test.
class TempDir {
public:
  TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/qbtest.XXXXXX";
    if (!mkdtemp(pattern.data()))
      throw std::runtime_error("mkdtemp failed");
    mPath = pattern;
  }
  ~TempDir() {
    std::string command = "rm -rf '" + mPath + "'";
    if (std::system(command.c_str()) != 0) {
      // best effort: a leftover temporary folder does not fail a test
    }
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return mPath; }
  std::string operator/(const std::string& name) const { return mPath + "/" + name; }

private:
  std::string mPath;
};

inline void writeFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  if (!out)
    throw std::runtime_error("cannot write " + path);
}

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

struct ProcessResult {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// Runs a program to completion with stdout and stderr captured in files of scratch (stdout in
// stdoutPath instead when one is given).
inline ProcessResult runProcess(const std::vector<std::string>& args, const TempDir& scratch,
                                const std::string& stdoutPath = {}) {
  std::string outPath = stdoutPath.empty() ? scratch / "stdout.txt" : stdoutPath;
  std::string errPath = scratch / "stderr.txt";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0600);
  posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0600);
  std::vector<char*> argv;
  for (const std::string& arg : args)
    argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  pid_t pid = 0;
  int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0)
    throw std::runtime_error("cannot start " + args[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  ProcessResult result;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = stdoutPath.empty() ? readFile(outPath) : "";
  result.err = readFile(errPath);
  return result;
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
  std::string mPath;
  int mSaved = -1;
};

} // namespace testsupport
