#include "transport/Connection.h"

#include "transport/PeerCredentials.h"

#include <unix/RetryingIO.h>
#include <unix/Syscalls.h>
#include <unix/UnixSocket.h>

#include <algorithm>
#include <cerrno>
#include <poll.h>

namespace coreservices {

namespace {

IOStatus statusOf(os::Transfer transfer) {
  switch (transfer) {
  case os::Transfer::done:
    return IOStatus::ok;
  case os::Transfer::timedOut:
    return IOStatus::timedOut;
  case os::Transfer::closed:
    break;
  }
  return IOStatus::closed;
}

} // namespace

IOStatus connectTo(const std::string& path, Deadline deadline, int& result) {
  int fd = -1;
  switch (os::connectTo(path, deadline, fd)) {
  case os::Connected::yes:
    break;
  case os::Connected::busy:
    return IOStatus::timedOut;
  case os::Connected::refused:
    return IOStatus::refused;
  }
  if (!peerIsSameUser(fd)) {
    os::calls().close(fd);
    return IOStatus::refused;
  }
  result = fd;
  return IOStatus::ok;
}

IOStatus writeAllGathered(int socket, std::vector<iovec>& pieces, Deadline deadline) {
  return statusOf(os::sendAllGathered(socket, pieces, deadline));
}

namespace {

// A reply and anything short of this comes in one receive; a larger frame's rest goes straight into
// its payload.
constexpr std::size_t kReceiveAtOnce = 4096;

// Waits for bytes and takes what has arrived. A frame is read after a request has gone out, so
// its answer is hardly ever there yet: waiting first saves a receive that would only say so.
IOStatus receiveMore(int socket, Deadline deadline, FrameInput& input) {
  for (;;) {
    if (auto waited = statusOf(os::waitFor(socket, POLLIN, deadline)); waited != IOStatus::ok)
      return waited;
    std::size_t room = 0;
    std::uint8_t* into = input.space(kReceiveAtOnce, room);
    ssize_t got = os::receiveSome(socket, into, room);
    if (got > 0) {
      input.received(static_cast<std::size_t>(got));
      return IOStatus::ok;
    }
    if (got == 0 || (errno != EAGAIN && errno != EWOULDBLOCK))
      return IOStatus::closed;
  }
}

} // namespace

IOStatus readFrame(int socket, Deadline deadline, FrameInput& input, FrameHeader& header,
                   std::vector<std::uint8_t>& payload) {
  while (input.size() < kFrameHeaderSize)
    if (IOStatus status = receiveMore(socket, deadline, input); status != IOStatus::ok)
      return status;
  if (decodeHeader(input.data(), header) != HeaderCheck::ok)
    return IOStatus::protocolError;
  input.consume(kFrameHeaderSize);
  std::size_t arrived = std::min<std::size_t>(input.size(), header.length);
  payload.assign(input.data(), input.data() + arrived);
  input.consume(arrived);
  // Grown as bytes arrive, so a header that promises much but sends little costs little.
  constexpr std::size_t kStep = 1 << 20;
  while (payload.size() < header.length) {
    std::size_t offset = payload.size();
    std::size_t step = std::min<std::size_t>(kStep, header.length - offset);
    payload.resize(offset + step);
    if (auto status = statusOf(os::receiveExactly(socket, payload.data() + offset, step, deadline));
        status != IOStatus::ok)
      return status;
  }
  return IOStatus::ok;
}

} // namespace coreservices
