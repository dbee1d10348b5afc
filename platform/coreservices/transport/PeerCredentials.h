// Only processes of the same user may talk to each other over an Apple Event connection.
#pragma once

#include <sys/types.h>

namespace coreservices {

// The rule itself: a peer is accepted when it runs as the same effective user.
bool credentialsAcceptable(uid_t peerUser, uid_t ownUser);

// The rule applied to a connected Unix-domain socket (SO_PEERCRED); false when the kernel
// cannot say.
bool peerIsSameUser(int socket);

// The process at the other end of a connected Unix-domain socket; 0 when the kernel cannot say.
pid_t peerProcess(int socket);

} // namespace coreservices
