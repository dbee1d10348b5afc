#pragma once

#include <filesystem>
#include <string>
#include <string_view>

// A fresh directory under the system's temporary folder, removed with everything in it.
class TempDir {
public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return mPath; }
  std::filesystem::path operator/(const std::string& name) const { return mPath / name; }

  // Writes `bytes` to `name` (creating parent folders) and returns the file's path.
  std::filesystem::path write(const std::string& name, std::string_view bytes) const;

private:
  std::filesystem::path mPath;
};

std::string readFile(const std::filesystem::path& path);
