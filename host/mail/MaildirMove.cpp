#include "MaildirMove.h"

#include "MailError.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace mailhost {

namespace {

MailError renameError(const fs::path& from, const fs::path& to, int error) {
  std::string what = "cannot move " + from.string() + " to " + to.string() + ": ";
  switch (error) {
  case ENOENT:
    return MailError(MailErrorKind::NotFound, what + "the message file is gone");
  case EXDEV:
    return MailError(MailErrorKind::Io,
                     what + "another file system (messages are moved by rename, never copied)");
  case EEXIST:
    return MailError(MailErrorKind::Io, what + "a file of that name is already there");
  case EACCES:
  case EPERM:
    return MailError(MailErrorKind::AccessDenied, what + std::strerror(error));
  default:
    return MailError(MailErrorKind::Io, what + std::strerror(error));
  }
}

} // namespace

fs::path maildirDestination(const fs::path& file, const fs::path& toMaildir, std::string_view key) {
  std::string name = file.filename().string();
  std::size_t colon = name.find(':');
  std::string flags = colon == std::string::npos ? "" : name.substr(colon);
  return toMaildir / file.parent_path().filename() / (std::string(key) + flags);
}

void renameMessageFile(const fs::path& from, const fs::path& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
    return;
  if (errno != EINVAL && errno != ENOSYS)
    throw renameError(from, to, errno);
  // A file system without no-replace renames: link, then unlink. A crash between the two
  // leaves the message in both folders, never in neither.
  if (::link(from.c_str(), to.c_str()) != 0)
    throw renameError(from, to, errno);
  syncDirectory(to.parent_path());
  if (::unlink(from.c_str()) != 0)
    throw renameError(from, to, errno);
}

void syncDirectory(const fs::path& dir) {
  int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0)
    throw MailError(MailErrorKind::Io, dir.string() + ": " + std::strerror(errno));
  int result = ::fsync(fd);
  int error = errno;
  ::close(fd);
  if (result != 0)
    throw MailError(MailErrorKind::Io, "cannot sync " + dir.string() + ": " + std::strerror(error));
}

} // namespace mailhost
