#include "ImapPasswords.h"

#include "ImapModule.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mailhost {

namespace {

[[noreturn]] void accountError(const std::string& what) {
  throw ImapError(ImapErrorKind::Account, what);
}

std::string readPasswordFile(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (fd < 0)
    accountError("cannot read the password file " + path + ": " + std::strerror(errno));
  struct stat st {};
  ::fstat(fd, &st);
  if (!S_ISREG(st.st_mode) || st.st_uid != ::geteuid() || (st.st_mode & 077) != 0) {
    ::close(fd);
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
    accountError("the password file " + path +
                 " is refused: it must be a file of yours with mode "
                 "0600 (it has mode " +
                 mode + ")");
  }
  std::string password;
  char buffer[512];
  for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
    password.append(buffer, static_cast<std::size_t>(n));
  ::close(fd);
  while (!password.empty() && (password.back() == '\n' || password.back() == '\r'))
    password.pop_back();
  return password;
}

} // namespace

bool keyringAvailable() {
  const char* bus = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  return bus && *bus;
}

std::string readImapPassword(const ImapAccount& account) {
  if (!account.passwordFile.empty())
    return readPasswordFile(account.passwordFile);
  if (!keyringAvailable())
    accountError("no password for " + account.name() +
                 ": there is no keyring (no session bus) and no password file");
  std::string why;
  std::optional<std::string> password = imapModule().keyringLookup(account.endpoint, why);
  if (!password)
    accountError("no password for " + account.name() + " in the keyring: " + why);
  return *password;
}

bool storePasswordInKeyring(const ImapEndpoint& endpoint, const std::string& password,
                            std::string& why) {
  if (!keyringAvailable()) {
    why = "no session bus";
    return false;
  }
  try {
    return imapModule().keyringStore(endpoint, password, why);
  } catch (const ImapError& error) {
    why = error.what();
    return false;
  }
}

void storePasswordInFile(const std::string& path, const std::string& password) {
  std::string temporary = path + ".new";
  ::unlink(temporary.c_str());
  int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0)
    accountError("cannot write the password file " + path + ": " + std::strerror(errno));
  std::string text = password + "\n";
  bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  written = ::fsync(fd) == 0 && written;
  ::close(fd);
  if (!written || ::rename(temporary.c_str(), path.c_str()) != 0) {
    ::unlink(temporary.c_str());
    accountError("cannot write the password file " + path + ": " + std::strerror(errno));
  }
}

} // namespace mailhost
