#include "Maildir.h"

#include "MailError.h"

#include <cerrno>
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

std::string_view keyOfListed(std::string_view name) {
  return maildirKeyOf(name.substr(kSubdirPrefix));
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
NameIndex sizedIndex(const fs::path& dir) {
  std::size_t entries = 0;
  std::size_t bytes = 0;
  for (const char* sub : kSubdirs) {
    std::unique_ptr<DIR, DirCloser> listing(::opendir((dir / sub).c_str()));
    while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr) {
      if (entry->d_name[0] != '.' && entry->d_name[0] != ':') {
        ++entries;
        bytes += std::strlen(sub) + std::strlen(entry->d_name) + 1;
      }
    }
  }
  return NameIndex(dir, keyOfListed, entries, bytes);
}

} // namespace

bool isMaildir(const fs::path& dir) {
  std::error_code ec;
  return fs::is_directory(dir / "cur", ec) || fs::is_directory(dir / "new", ec);
}

MaildirIndex::MaildirIndex(const fs::path& dir) : mDir(dir), mNames(sizedIndex(dir)) {
  bool listedAny = false;
  std::string name;
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
        // cur/, listed first, wins over a stale copy in new/.
        name.assign(sub).append("/").append(entry->d_name);
        mNames.add(name);
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
  mNames.finish();
}

MaildirIndex::~MaildirIndex() = default;

std::optional<fs::path> MaildirIndex::fileFor(std::string_view wanted) const {
  std::optional<std::string> found = mNames.nameFor(wanted);
  return found ? std::optional<fs::path>(mDir / *found) : std::nullopt;
}

std::string_view maildirKeyOf(std::string_view fileName) {
  return fileName.substr(0, fileName.find(':'));
}

void checkMaildirKey(std::string_view key) {
  if (key.empty() || key.find('/') != std::string_view::npos || key == "." || key == "..")
    throw MailError(MailErrorKind::BadUri, "bad Maildir key \"" + std::string(key) + "\"");
}

} // namespace mailhost
