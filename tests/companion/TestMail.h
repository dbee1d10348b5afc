#pragma once

#include <filesystem>
#include <string>

namespace quellbark::test {

// Messages in two clearly different vocabularies, varied by `n` so that no two are equal.
std::string spamMessage(int n);
std::string goodMessage(int n);

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempFolder {
public:
  TempFolder();
  ~TempFolder();
  TempFolder(TempFolder const&) = delete;
  TempFolder& operator=(TempFolder const&) = delete;
  std::filesystem::path const& path() const { return mPath; }

private:
  std::filesystem::path mPath;
};

// Writes an executable shell script and returns its path.
std::filesystem::path writeScript(std::filesystem::path const& file, std::string const& body);

} // namespace quellbark::test
