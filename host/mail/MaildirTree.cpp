#include "MaildirTree.h"

#include "MailError.h"
#include "Maildir.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace mailhost {

namespace {

fs::path withoutTrailingSlash(const fs::path& path) {
  fs::path normal = path.lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();
}

void makeDirectory(const fs::path& dir) {
  if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST)
    throw MailError(errno == EACCES ? MailErrorKind::AccessDenied : MailErrorKind::Io,
                    "cannot make " + dir.string() + ": " + std::strerror(errno));
}

} // namespace

bool isMaildirSubfolder(const fs::path& given) {
  fs::path maildir = withoutTrailingSlash(given);
  std::string name = maildir.filename().string();
  return name.size() > 1 && name[0] == '.' && name != ".." && isMaildir(maildir.parent_path());
}

fs::path topMaildir(const fs::path& given) {
  fs::path maildir = withoutTrailingSlash(given);
  return isMaildirSubfolder(maildir) ? maildir.parent_path() : maildir;
}

fs::path defaultJunkFolder(const fs::path& maildir) {
  return topMaildir(maildir) / kJunkFolderName;
}

std::vector<fs::path> maildirSubfolders(const fs::path& given) {
  fs::path maildir = withoutTrailingSlash(given);
  bool subfolder = isMaildirSubfolder(maildir);
  fs::path top = subfolder ? maildir.parent_path() : maildir;
  std::string prefix = subfolder ? maildir.filename().string() + "." : ".";
  std::vector<fs::path> folders;
  std::error_code ec;
  for (const fs::directory_entry& entry : fs::directory_iterator(top, ec)) {
    std::string name = entry.path().filename().string();
    if (name.size() > prefix.size() && name.starts_with(prefix) && name != ".." &&
        isMaildir(entry.path()))
      folders.push_back(entry.path());
  }
  if (ec)
    throw MailError(MailErrorKind::Io, top.string() + ": " + ec.message());
  std::sort(folders.begin(), folders.end());
  return folders;
}

void makeMaildir(const fs::path& given) {
  fs::path maildir = withoutTrailingSlash(given);
  makeDirectory(maildir);
  for (const char* sub : {"tmp", "new", "cur"})
    makeDirectory(maildir / sub);
  if (isMaildirSubfolder(maildir)) {
    fs::path marker = maildir / "maildirfolder";
    int fd = ::open(marker.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
      throw MailError(MailErrorKind::Io,
                      "cannot make " + marker.string() + ": " + std::strerror(errno));
    ::close(fd);
  }
}

} // namespace mailhost
