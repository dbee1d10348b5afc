// Untrusted bytes from the peer of an Apple Event connection, read frame by frame from a socket
// as a sender reads its answers: a header that is not well formed must stop the reading, a short
// frame must end it as closed, and every frame read must encode back to the bytes it came from.
#include "transport/Connection.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace coreservices;
  // The whole input must fit in the socket's buffer, since nothing reads while it is written.
  if (size > 64 * 1024)
    return 0;
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) != 0)
    std::abort();
  int buffer = 256 * 1024;
  setsockopt(pair[0], SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
  std::vector<iovec> bytes{{const_cast<std::uint8_t*>(data), size}};
  if (size && writeAllGathered(pair[0], bytes, Clock::now()) != IOStatus::ok)
    std::abort();
  shutdown(pair[0], SHUT_WR);

  std::size_t offset = 0;
  FrameInput input; // what one read brought past its frame is the next one's
  for (;;) {
    FrameHeader header;
    std::vector<std::uint8_t> payload;
    IOStatus status =
        readFrame(pair[1], Clock::now() + std::chrono::seconds(5), input, header, payload);
    if (status == IOStatus::ok) {
      if (payload.size() != header.length || offset + kFrameHeaderSize + header.length > size)
        std::abort();
      std::vector<std::uint8_t> again = encodeFrame(header, payload.data());
      if (std::memcmp(again.data(), data + offset, again.size()) != 0)
        std::abort();
      offset += again.size();
      continue;
    }
    if (status == IOStatus::protocolError) {
      // Only a whole header that does not decode stops the reader this way.
      FrameHeader ignored;
      if (size - offset < kFrameHeaderSize ||
          decodeHeader(data + offset, ignored) == HeaderCheck::ok)
        std::abort();
      break;
    }
    if (status != IOStatus::closed)
      std::abort(); // the peer has hung up: nothing may wait for the deadline
    // Closed: what is left is less than a whole frame.
    FrameHeader rest;
    if (size - offset >= kFrameHeaderSize && decodeHeader(data + offset, rest) == HeaderCheck::ok &&
        size - offset >= kFrameHeaderSize + rest.length)
      std::abort();
    break;
  }
  close(pair[0]);
  close(pair[1]);
  return 0;
}
