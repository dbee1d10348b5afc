#include "transport/Connection.h"

#include "transport/PeerCredentials.h"

#include <unix/RetryingIO.h>
#include <unix/Syscalls.h>
#include <unix/UnixSocket.h>

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

IOStatus readFrame(int socket, Deadline deadline, FrameHeader& header,
                   std::vector<std::uint8_t>& payload) {
  // A frame is read after a request has gone out, so its answer is hardly ever there yet:
  // waiting first saves a read that would only say so.
  if (auto waited = statusOf(os::waitFor(socket, POLLIN, deadline)); waited != IOStatus::ok)
    return waited;
  std::uint8_t raw[kFrameHeaderSize];
  if (auto status = statusOf(os::receiveExactly(socket, raw, sizeof raw, deadline));
      status != IOStatus::ok)
    return status;
  if (decodeHeader(raw, header) != HeaderCheck::ok)
    return IOStatus::protocolError;
  // Grown as bytes arrive, so a header that promises much but sends little costs little.
  constexpr std::size_t kStep = 1 << 20;
  payload.clear();
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

bool connectionIsQuiet(int socket) {
  pollfd entry{socket, POLLIN, 0};
  return os::calls().poll(&entry, 1, 0) == 0;
}

} // namespace coreservices
