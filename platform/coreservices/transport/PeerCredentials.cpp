#include "transport/PeerCredentials.h"

#include <unix/UnixSocket.h>

#include <unistd.h>

namespace coreservices {

bool credentialsAcceptable(uid_t peerUser, uid_t ownUser) {
  return peerUser == ownUser;
}

bool peerIsSameUser(int socket) {
  auto user = os::peerUser(socket);
  return user && credentialsAcceptable(*user, geteuid());
}

} // namespace coreservices
