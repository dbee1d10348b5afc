// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/UnixSocket.h"

#include "unix/Syscalls.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace os {

namespace {

bool addressOf(const std::string& path, sockaddr_un& address) {
  address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return true;
}

} // namespace

int listenAt(const std::string& path) {
  sockaddr_un address;
  if (!addressOf(path, address))
    return -1;
  calls().unlink(path.c_str());
  int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (listener < 0)
    return -1;
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      chmod(path.c_str(), 0600) != 0 || listen(listener, SOMAXCONN) != 0) {
    int error = errno;
    calls().close(listener);
    calls().unlink(path.c_str());
    errno = error;
    return -1;
  }
  return listener;
}

int acceptFrom(int listener) {
  return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
}

Connected connectTo(const std::string& path, Deadline deadline, int& result) {
  sockaddr_un address;
  if (!addressOf(path, address))
    return Connected::refused;
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0)
    return Connected::refused;
  for (;;) {
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
      break;
    // A full backlog: the server is busy; try again until the deadline.
    if ((errno == EAGAIN || errno == EINTR) && !(deadline && Clock::now() >= *deadline)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      continue;
    }
    int error = errno;
    calls().close(fd);
    return error == EAGAIN ? Connected::busy : Connected::refused;
  }
  result = fd;
  return Connected::yes;
}

std::optional<uid_t> peerUser(int socket) {
  struct ucred credentials {};
  socklen_t size = sizeof credentials;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 ||
      size != sizeof credentials)
    return std::nullopt;
  return credentials.uid;
}

} // namespace os
