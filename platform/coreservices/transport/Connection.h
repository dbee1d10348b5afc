// Blocking-with-deadline I/O on a non-blocking Unix-domain stream socket, for the sending side
// of an exchange.
#pragma once

#include "transport/Frame.h"

#include <chrono>
#include <optional>
#include <string>
#include <sys/uio.h>
#include <vector>

namespace coreservices {

using Clock = std::chrono::steady_clock;
using Deadline = std::optional<Clock::time_point>; // nothing: no limit

enum class IOStatus { ok, timedOut, closed, refused, protocolError };

// Connects to the socket at path and checks that the peer runs as this user.
IOStatus connectTo(const std::string& path, Deadline deadline, int& socket);

// Writes the pieces as one run of bytes; `pieces` is used up on the way.
IOStatus writeAllGathered(int socket, std::vector<iovec>& pieces, Deadline deadline);

// Reads one frame through `input`, which keeps what a receive brought past it for the next call:
// one receive takes a small frame whole, header and payload. A header that is not well formed is
// a protocolError.
IOStatus readFrame(int socket, Deadline deadline, FrameInput& input, FrameHeader& header,
                   std::vector<std::uint8_t>& payload);

} // namespace coreservices
