#include "Maildir.h"

#include "MailError.h"
#include "TemporaryNameTable.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace mailhost {

namespace {

constexpr const char* kSubdirs[] = {"cur", "new"};
constexpr std::size_t kSubdirPrefix = 4; // "cur/" or "new/"

std::string_view keyOf(std::string_view name) {
  return maildirKeyOf(name);
}

MailError listError(const fs::path& dir, int error) {
  MailErrorKind kind = MailErrorKind::Io;
  if (error == ENOENT)
    kind = MailErrorKind::NotFound;
  else if (error == EACCES)
    kind = MailErrorKind::AccessDenied;
  return MailError(kind, dir.string() + ": " + std::strerror(error));
}

struct DirCloser {
  void operator()(DIR* dir) const { ::closedir(dir); }
};

bool isRegularFile(DIR* dir, const dirent* entry) {
  if (entry->d_type == DT_REG)
    return true;
  if (entry->d_type != DT_LNK && entry->d_type != DT_UNKNOWN)
    return false;
  struct stat info {};
  return ::fstatat(::dirfd(dir), entry->d_name, &info, 0) == 0 && S_ISREG(info.st_mode);
}

// What the index of the folder will hold, roughly: reserved up front, the names of a large
// folder are not copied as they grow, nor once more when they are all in.
void sizeUp(const fs::path& dir, std::size_t& entries, std::size_t& bytes) {
  for (const char* sub : kSubdirs) {
    std::unique_ptr<DIR, DirCloser> listing(::opendir((dir / sub).c_str()));
    while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr) {
      if (entry->d_name[0] != '.' && entry->d_name[0] != ':') {
        ++entries;
        bytes += std::strlen(sub) + std::strlen(entry->d_name) + 2;
      }
    }
  }
}

} // namespace

bool isMaildir(const fs::path& dir) {
  std::error_code ec;
  return fs::is_directory(dir / "cur", ec) || fs::is_directory(dir / "new", ec);
}

std::size_t MaildirIndex::memoryBudget() {
  // Beyond this, about 2,000 names as mail programs make them, a folder's names are written
  // out: the index of a larger folder costs a few microseconds more per message, not memory.
  constexpr std::size_t kDefault = 128 * 1024;
  const char* given = std::getenv("MAILHOST_MAILDIR_MEMORY");
  if (!given || !*given)
    return kDefault;
  char* end = nullptr;
  unsigned long long bytes = std::strtoull(given, &end, 10);
  return *end == '\0' ? std::size_t(bytes) : kDefault;
}

MaildirIndex::MaildirIndex(const fs::path& dir) : mDir(dir) {
  const std::size_t budget = memoryBudget();
  std::size_t entries = 0;
  std::size_t bytes = 0;
  sizeUp(dir, entries, bytes);
  if (std::size_t whole = bytes + entries * sizeof(std::uint32_t); whole > budget) {
    // Room for one budget's worth at a time.
    entries = entries * budget / whole + 1;
    bytes = bytes * budget / whole + 256;
  }
  mEntries.reserve(entries);
  mNames.reserve(bytes);
  bool listedAny = false;
  for (const char* sub : kSubdirs) {
    fs::path subdir = dir / sub;
    std::unique_ptr<DIR, DirCloser> listing(::opendir(subdir.c_str()));
    if (!listing) {
      if (errno == ENOENT)
        continue;
      throw listError(subdir, errno);
    }
    listedAny = true;
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
      // A name that starts with ':' has an empty key, which no message URI can carry.
      if (entry->d_name[0] != '.' && entry->d_name[0] != ':' &&
          isRegularFile(listing.get(), entry)) {
        mEntries.push_back(static_cast<std::uint32_t>(mNames.size()));
        mNames.append(sub).append("/").append(entry->d_name).push_back('\0');
        if (mNames.size() + mEntries.size() * sizeof(std::uint32_t) >= budget)
          moveToTable();
      }
      errno = 0;
    }
    if (errno != 0)
      throw listError(subdir, errno);
  }
  if (!listedAny) {
    std::error_code ec;
    if (!fs::exists(dir, ec))
      throw MailError(MailErrorKind::NotFound, dir.string() + ": no such file or directory");
    throw MailError(MailErrorKind::NotAFolder, dir.string() + ": not a Maildir folder");
  }
  if (mTable) {
    moveToTable();
    try {
      mTable->finish();
    } catch (const MailError& error) {
      throw MailError(error.kind(), mDir.string() + ": " + error.what());
    }
    mNames = std::string();
    mEntries = std::vector<std::uint32_t>();
    return;
  }
  sortAndDropDuplicates();
  // Only what was reserved for names that are not messages, or that came meanwhile.
  if (mEntries.capacity() - mEntries.size() > mEntries.size() / 8)
    mEntries.shrink_to_fit();
  if (mNames.capacity() - mNames.size() > mNames.size() / 8)
    mNames.shrink_to_fit();
}

MaildirIndex::~MaildirIndex() = default;

void MaildirIndex::sortAndDropDuplicates() {
  // Stable, so that of two files with one key the one in cur/ (listed first) stays.
  std::stable_sort(mEntries.begin(), mEntries.end(), [this](std::uint32_t a, std::uint32_t b) {
    return keyOf(mNames.c_str() + a + kSubdirPrefix) < keyOf(mNames.c_str() + b + kSubdirPrefix);
  });
  mEntries.erase(std::unique(mEntries.begin(), mEntries.end(),
                             [this](std::uint32_t a, std::uint32_t b) {
                               return keyOf(mNames.c_str() + a + kSubdirPrefix) ==
                                      keyOf(mNames.c_str() + b + kSubdirPrefix);
                             }),
                 mEntries.end());
}

// The names listed so far go to the table, in key order (the quickest to add), and the buffer
// is used again for the next ones. The table keeps the first name of a key, so cur/, listed
// first, still wins.
void MaildirIndex::moveToTable() {
  try {
    if (!mTable)
      mTable = std::make_unique<TemporaryNameTable>(TemporaryNameTable::defaultFolder());
    sortAndDropDuplicates();
    for (std::size_t i = 0; i < mEntries.size(); ++i)
      mTable->add(keyOf(name(i).substr(kSubdirPrefix)), name(i));
  } catch (const MailError& error) {
    throw MailError(error.kind(), mDir.string() + ": " + error.what());
  }
  mEntries.clear();
  mNames.clear();
}

std::size_t MaildirIndex::size() const {
  return mTable ? mTable->size() : mEntries.size();
}

std::string_view MaildirIndex::name(std::size_t i) const {
  return mNames.c_str() + mEntries[i];
}

std::string MaildirIndex::key(std::size_t i) const {
  if (mTable)
    return mTable->keyAt(i);
  return std::string(keyOf(name(i).substr(kSubdirPrefix)));
}

fs::path MaildirIndex::file(std::size_t i) const {
  if (mTable)
    return mDir / mTable->nameAt(i);
  return mDir / name(i);
}

std::optional<fs::path> MaildirIndex::fileFor(std::string_view wanted) const {
  if (mTable) {
    std::optional<std::string> found = mTable->nameFor(wanted);
    return found ? std::optional<fs::path>(mDir / *found) : std::nullopt;
  }
  auto it = std::lower_bound(mEntries.begin(), mEntries.end(), wanted,
                             [this](std::uint32_t entry, std::string_view k) {
                               return keyOf(mNames.c_str() + entry + kSubdirPrefix) < k;
                             });
  if (it == mEntries.end() || keyOf(mNames.c_str() + *it + kSubdirPrefix) != wanted)
    return std::nullopt;
  return mDir / std::string_view(mNames.c_str() + *it);
}

std::string_view maildirKeyOf(std::string_view fileName) {
  return fileName.substr(0, fileName.find(':'));
}

void checkMaildirKey(std::string_view key) {
  if (key.empty() || key.find('/') != std::string_view::npos || key == "." || key == "..")
    throw MailError(MailErrorKind::BadUri, "bad Maildir key \"" + std::string(key) + "\"");
}

} // namespace mailhost
