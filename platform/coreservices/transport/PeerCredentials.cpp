#include "transport/PeerCredentials.h"

#include <sys/socket.h>
#include <unistd.h>

namespace coreservices {

bool credentialsAcceptable(uid_t peerUser, uid_t ownUser) {
  return peerUser == ownUser;
}

bool peerIsSameUser(int socket) {
  struct ucred credentials {};
  socklen_t size = sizeof credentials;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 ||
      size != sizeof credentials)
    return false;
  return credentialsAcceptable(credentials.uid, geteuid());
}

} // namespace coreservices
