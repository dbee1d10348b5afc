#include "NativeMessaging.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace mailhost {

FrameReader::Read FrameReader::readFully(char* into, std::size_t size, std::size_t& got) {
  got = 0;
  while (got < size) {
    ssize_t n = ::read(mFd, into + got, size - got);
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0)
      return Read::Failed;
    if (n == 0)
      return got == 0 ? Read::Closed : Read::Partial;
    got += static_cast<std::size_t>(n);
  }
  return Read::Complete;
}

Frame FrameReader::next() {
  Frame frame;
  std::uint32_t length = 0;
  std::size_t got = 0;
  switch (readFully(reinterpret_cast<char*>(&length), sizeof length, got)) {
  case Read::Closed:
    frame.kind = Frame::Kind::End;
    return frame;
  case Read::Partial:
    frame.kind = Frame::Kind::Truncated;
    return frame;
  case Read::Failed:
    frame.kind = Frame::Kind::Failed;
    frame.body = std::strerror(errno);
    return frame;
  case Read::Complete:
    break;
  }
  frame.length = length;
  if (length > mLimit) {
    // Dropped in pieces, so that the next frame is found and nothing large is held.
    char sink[64 * 1024];
    std::uint64_t left = length;
    while (left > 0) {
      std::size_t piece = static_cast<std::size_t>(std::min<std::uint64_t>(left, sizeof sink));
      Read result = readFully(sink, piece, got);
      if (result != Read::Complete) {
        frame.kind = result == Read::Failed ? Frame::Kind::Failed : Frame::Kind::Truncated;
        return frame;
      }
      left -= piece;
    }
    frame.kind = Frame::Kind::Oversized;
    return frame;
  }
  frame.body.resize(length);
  Read result = readFully(frame.body.data(), length, got);
  if (result == Read::Complete || length == 0) {
    frame.kind = Frame::Kind::Message;
    return frame;
  }
  frame.body.clear();
  frame.kind = result == Read::Failed ? Frame::Kind::Failed : Frame::Kind::Truncated;
  return frame;
}

bool writeFrame(int fd, std::string_view body) {
  if (body.size() > kMaxOutgoingFrame)
    return false;
  std::uint32_t length = static_cast<std::uint32_t>(body.size());
  std::string out(reinterpret_cast<const char*>(&length), sizeof length);
  out.append(body);
  std::size_t done = 0;
  while (done < out.size()) {
    ssize_t n = ::write(fd, out.data() + done, out.size() - done);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

} // namespace mailhost
