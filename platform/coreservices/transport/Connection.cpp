#include "transport/Connection.h"

#include "transport/PeerCredentials.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace coreservices {

namespace {

int millisecondsLeft(Deadline deadline) {
  if (!deadline)
    return -1;
  auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(*deadline - Clock::now()).count();
  if (left <= 0)
    return 0;
  return left > 60'000 ? 60'000 : static_cast<int>(left);
}

bool expired(Deadline deadline) {
  return deadline && Clock::now() >= *deadline;
}

// Waits until the socket is ready for events; false on timeout.
IOStatus waitFor(int socket, short events, Deadline deadline) {
  for (;;) {
    pollfd entry{socket, events, 0};
    int ready = poll(&entry, 1, millisecondsLeft(deadline));
    if (ready > 0)
      return IOStatus::ok;
    if (ready < 0 && errno != EINTR)
      return IOStatus::closed;
    if (ready == 0 && expired(deadline))
      return IOStatus::timedOut;
  }
}

IOStatus readExactly(int socket, std::uint8_t* bytes, std::size_t length, Deadline deadline) {
  std::size_t done = 0;
  while (done < length) {
    ssize_t got = recv(socket, bytes + done, length - done, 0);
    if (got > 0) {
      done += static_cast<std::size_t>(got);
    } else if (got == 0) {
      return IOStatus::closed;
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (auto waited = waitFor(socket, POLLIN, deadline); waited != IOStatus::ok)
        return waited;
    } else if (errno != EINTR) {
      return IOStatus::closed;
    }
  }
  return IOStatus::ok;
}

} // namespace

IOStatus connectTo(const std::string& path, Deadline deadline, int& result) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path)
    return IOStatus::refused;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0)
    return IOStatus::refused;
  for (;;) {
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
      break;
    // A full backlog: the server is busy; try again until the deadline.
    if ((errno == EAGAIN || errno == EINTR) && !expired(deadline)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      continue;
    }
    int error = errno;
    close(fd);
    return error == EAGAIN ? IOStatus::timedOut : IOStatus::refused;
  }
  if (!peerIsSameUser(fd)) {
    close(fd);
    return IOStatus::refused;
  }
  result = fd;
  return IOStatus::ok;
}

IOStatus writeAll(int socket, const std::uint8_t* bytes, std::size_t length, Deadline deadline) {
  std::size_t done = 0;
  while (done < length) {
    ssize_t sent = send(socket, bytes + done, length - done, MSG_NOSIGNAL);
    if (sent >= 0) {
      done += static_cast<std::size_t>(sent);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (auto waited = waitFor(socket, POLLOUT, deadline); waited != IOStatus::ok)
        return waited;
    } else if (errno != EINTR) {
      return IOStatus::closed;
    }
  }
  return IOStatus::ok;
}

IOStatus readFrame(int socket, Deadline deadline, FrameHeader& header,
                   std::vector<std::uint8_t>& payload) {
  // A frame is read after a request has gone out, so its answer is hardly ever there yet:
  // waiting first saves a read that would only say so.
  if (auto waited = waitFor(socket, POLLIN, deadline); waited != IOStatus::ok)
    return waited;
  std::uint8_t raw[kFrameHeaderSize];
  if (auto status = readExactly(socket, raw, sizeof raw, deadline); status != IOStatus::ok)
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
    if (auto status = readExactly(socket, payload.data() + offset, step, deadline);
        status != IOStatus::ok)
      return status;
  }
  return IOStatus::ok;
}

bool connectionIsQuiet(int socket) {
  pollfd entry{socket, POLLIN, 0};
  return poll(&entry, 1, 0) == 0;
}

} // namespace coreservices
