// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/RetryingIO.h"

#include "unix/Syscalls.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <sys/socket.h>

namespace os {

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

template <typename Call>
ssize_t retried(Call call) {
  for (;;) {
    ssize_t result = call();
    if (result >= 0 || errno != EINTR)
      return result;
  }
}

// After a transfer that failed: done once the socket is ready to try again (it was only full, or
// empty), else why not.
Transfer readyAgain(int socket, short events, Deadline deadline) {
  if (errno != EAGAIN && errno != EWOULDBLOCK)
    return Transfer::closed;
  return waitFor(socket, events, deadline);
}

} // namespace

ssize_t readSome(int fd, void* buffer, std::size_t size) {
  return retried([&] { return calls().read(fd, buffer, size); });
}

ssize_t receiveSome(int socket, void* buffer, std::size_t size) {
  return retried([&] { return calls().recv(socket, buffer, size, 0); });
}

ssize_t sendSome(int socket, const void* bytes, std::size_t size) {
  return retried([&] { return calls().send(socket, bytes, size, MSG_NOSIGNAL); });
}

bool writeAll(int fd, const void* bytes, std::size_t size) {
  auto* from = static_cast<const char*>(bytes);
  std::size_t done = 0;
  while (done < size) {
    ssize_t n = retried([&] { return calls().write(fd, from + done, size - done); });
    if (n < 0)
      return false;
    if (n == 0) {
      errno = EIO;
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  return true;
}

bool readExactly(int fd, void* buffer, std::size_t size) {
  auto* into = static_cast<char*>(buffer);
  std::size_t done = 0;
  while (done < size) {
    ssize_t got = readSome(fd, into + done, size - done);
    if (got <= 0)
      return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

bool readToEnd(int fd, std::string& bytes, std::size_t limit) {
  bytes.clear();
  char buffer[65536];
  for (;;) {
    ssize_t n = readSome(fd, buffer, sizeof buffer);
    if (n < 0)
      return false;
    if (n == 0)
      return true;
    if (bytes.size() + static_cast<std::size_t>(n) > limit) {
      errno = EFBIG;
      return false;
    }
    bytes.append(buffer, static_cast<std::size_t>(n));
  }
}

Transfer waitFor(int fd, short events, Deadline deadline) {
  for (;;) {
    pollfd entry{fd, events, 0};
    int ready = calls().poll(&entry, 1, millisecondsLeft(deadline));
    if (ready > 0)
      return Transfer::done;
    if (ready < 0 && errno != EINTR)
      return Transfer::closed;
    if (ready == 0 && expired(deadline))
      return Transfer::timedOut;
  }
}

Transfer sendAllGathered(int socket, std::vector<iovec>& pieces, Deadline deadline) {
  std::size_t first = 0;
  while (first < pieces.size()) {
    if (pieces[first].iov_len == 0) {
      ++first;
      continue;
    }
    msghdr message{};
    message.msg_iov = pieces.data() + first;
    message.msg_iovlen = std::min<std::size_t>(pieces.size() - first, IOV_MAX);
    ssize_t sent = retried([&] { return calls().sendmsg(socket, &message, MSG_NOSIGNAL); });
    if (sent >= 0) {
      for (auto left = static_cast<std::size_t>(sent); left > 0;) {
        std::size_t taken = std::min(left, pieces[first].iov_len);
        pieces[first].iov_base = static_cast<char*>(pieces[first].iov_base) + taken;
        pieces[first].iov_len -= taken;
        left -= taken;
        if (pieces[first].iov_len == 0)
          ++first;
      }
    } else if (Transfer again = readyAgain(socket, POLLOUT, deadline); again != Transfer::done) {
      return again;
    }
  }
  return Transfer::done;
}

Transfer receiveExactly(int socket, void* buffer, std::size_t size, Deadline deadline) {
  auto* into = static_cast<char*>(buffer);
  std::size_t done = 0;
  while (done < size) {
    ssize_t got = receiveSome(socket, into + done, size - done);
    if (got > 0) {
      done += static_cast<std::size_t>(got);
    } else if (got == 0) {
      return Transfer::closed;
    } else if (Transfer again = readyAgain(socket, POLLIN, deadline); again != Transfer::done) {
      return again;
    }
  }
  return Transfer::done;
}

} // namespace os
