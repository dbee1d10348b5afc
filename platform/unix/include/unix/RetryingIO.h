// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// I/O that resumes after interruptions (EINTR) and short transfers, so callers see a call
// either done whole or failed.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>
#include <sys/uio.h>
#include <vector>

namespace os {

using Clock = std::chrono::steady_clock;
using Deadline = std::optional<Clock::time_point>; // nothing: no limit

// One read/recv/send, repeated while interrupted; the result and errno as the call left them.
ssize_t readSome(int fd, void* buffer, std::size_t size);
ssize_t receiveSome(int socket, void* buffer, std::size_t size);
ssize_t sendSome(int socket, const void* bytes, std::size_t size); // never raises SIGPIPE

// Writes every byte to a blocking descriptor; false (errno set) when the system refuses.
bool writeAll(int fd, const void* bytes, std::size_t size);
// Reads exactly `size` bytes from a blocking descriptor; false at an error or an early end.
bool readExactly(int fd, void* buffer, std::size_t size);
// Reads to the end of a blocking descriptor, at most `limit` bytes; false on an error or when
// there is more than `limit`.
bool readToEnd(int fd, std::string& bytes, std::size_t limit);

enum class Transfer { done, timedOut, closed };

// poll() on one descriptor until it is ready for `events` or the deadline passes; closed when
// poll itself fails.
Transfer waitFor(int fd, short events, Deadline deadline);
// On a non-blocking socket: every byte, waiting for room or data until the deadline. The pieces
// go as one run of bytes and are used up on the way.
Transfer sendAllGathered(int socket, std::vector<iovec>& pieces, Deadline deadline);
Transfer receiveExactly(int socket, void* buffer, std::size_t size, Deadline deadline);

} // namespace os
