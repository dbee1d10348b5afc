#include "transport/PeerCredentials.h"

#include <unix/ThisProcess.h>
#include <unix/UnixSocket.h>

#include <sys/socket.h>
#include <unistd.h>

namespace coreservices {

bool credentialsAcceptable(uid_t peerUser, uid_t ownUser) {
  return peerUser == ownUser;
}

bool peerIsSameUser(int socket) {
  auto user = os::peerUser(socket);
  return user && credentialsAcceptable(*user, os::effectiveUser());
}

pid_t peerProcess(int socket) {
  struct ucred credentials {};
  socklen_t size = sizeof credentials;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 ||
      size != sizeof credentials)
    return 0;
  return credentials.pid;
}

} // namespace coreservices
