// Temporary folders and files for tests: a private folder per test, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace testsupport {

namespace fs = std::filesystem;

inline std::string readFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Writes bytes to file, making its folders; throws when it cannot.
inline void writeFile(const fs::path& file, std::string_view bytes,
                      fs::perms perms = fs::perms(0644)) {
  if (file.has_parent_path())
    fs::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), std::streamsize(bytes.size()));
  if (!out)
    throw std::runtime_error("cannot write " + file.string());
  out.close();
  fs::permissions(file, perms);
}

// A fresh folder (mode 0700) under the system's temporary folder.
class TempDir {
public:
  TempDir() {
    std::string pattern = (fs::temp_directory_path() / "qbtest-XXXXXX").string();
    if (!::mkdtemp(pattern.data()))
      throw std::runtime_error("cannot make a temporary folder");
    mPath = pattern;
  }
  ~TempDir() {
    std::error_code ec;
    // Give back permissions a test took away, so that everything can be removed.
    for (auto it = fs::recursive_directory_iterator(mPath, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
      if (!it->is_symlink())
        fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
    fs::remove_all(mPath, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const fs::path& path() const { return mPath; }
  fs::path operator/(const fs::path& name) const { return mPath / name; }
  // Writes bytes to name below the folder and returns the file's path.
  fs::path write(const fs::path& name, std::string_view bytes) const {
    writeFile(mPath / name, bytes);
    return mPath / name;
  }

private:
  fs::path mPath;
};

} // namespace testsupport
