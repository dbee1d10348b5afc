#pragma once
// Running the project's scripts as a user would, and the files they leave.
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>

struct ShellOutcome {
  int status = -1;
  std::string out; // stdout and stderr together
};

inline ShellOutcome runShell(const std::string& command) {
  ShellOutcome result;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe)
    return result;
  std::array<char, 4096> buffer{};
  for (std::size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
    result.out.append(buffer.data(), n);
  int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

// A fresh folder under /tmp, removed with the object.
struct TempFolder {
  std::filesystem::path path;
  TempFolder() {
    char pattern[] = "/tmp/qb-tooling-XXXXXX";
    path = mkdtemp(pattern);
  }
  ~TempFolder() { std::filesystem::remove_all(path); }
};
