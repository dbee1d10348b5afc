#include "TempDir.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

TempDir::TempDir() {
  std::string pattern = (fs::temp_directory_path() / "hostmail-XXXXXX").string();
  if (!::mkdtemp(pattern.data()))
    throw std::runtime_error("mkdtemp failed");
  mPath = pattern;
}

TempDir::~TempDir() {
  std::error_code ec;
  // Restore permissions a test took away, so that everything can be removed.
  for (auto it = fs::recursive_directory_iterator(mPath, ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
    fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
  fs::remove_all(mPath, ec);
}

fs::path TempDir::write(const std::string& name, std::string_view bytes) const {
  fs::path file = mPath / name;
  fs::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out)
    throw std::runtime_error("cannot write " + file.string());
  return file;
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}
