// A folder of the harness's own for the files it writes, removed when the process exits.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

inline const std::filesystem::path& fuzzScratch() {
  // Never destroyed: the clean-up at exit still needs it.
  static const auto* folder = new std::filesystem::path([] {
    std::string pattern = (std::filesystem::temp_directory_path() / "fuzz-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
      std::abort();
    std::atexit([] { std::filesystem::remove_all(fuzzScratch()); });
    return std::filesystem::path(pattern);
  }());
  return *folder;
}
