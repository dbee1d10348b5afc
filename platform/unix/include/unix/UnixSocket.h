// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// Unix-domain stream sockets named by a path, non-blocking and closed at exec.
#pragma once

#include "unix/RetryingIO.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace os {

// A listening socket at path, mode 0600; a stale socket file there is replaced. -1 (errno set)
// when it cannot be made; nothing is left at path then.
int listenAt(const std::string& path);

// The next waiting connection, or -1 when there is none.
int acceptFrom(int listener);

enum class Connected { yes, refused, busy };

// Connects to the socket at path, trying a full backlog again until the deadline.
Connected connectTo(const std::string& path, Deadline deadline, int& socket);

// The effective user at the other end (SO_PEERCRED); nothing when the kernel cannot say.
std::optional<uid_t> peerUser(int socket);

} // namespace os
