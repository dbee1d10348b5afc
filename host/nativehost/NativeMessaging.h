// The frames of the native-messaging protocol: reading and writing them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace mailhost {

// The frames of the WebExtension native-messaging protocol: a 4-byte length in the machine's
// own byte order, then that many bytes of UTF-8 JSON.
inline constexpr std::size_t kMaxIncomingFrame = 64 * 1024 * 1024;
inline constexpr std::size_t kMaxOutgoingFrame = 1024 * 1024; // what the client accepts

struct Frame {
  enum class Kind {
    Message,   // body holds the frame
    Oversized, // longer than the limit: its bytes were read and dropped; length says how long
    End,       // the input closed between two frames
    Truncated, // the input closed inside a frame
    Failed,    // reading failed (body says why)
  };
  Kind kind = Kind::End;
  std::string body;
  std::uint64_t length = 0;
};

class FrameReader {
public:
  explicit FrameReader(int fd, std::size_t limit = kMaxIncomingFrame) : mFd(fd), mLimit(limit) {}
  Frame next();

private:
  enum class Read { Complete, Closed, Partial, Failed };
  Read readFully(char* into, std::size_t size, std::size_t& got);

  int mFd;
  std::size_t mLimit;
};

// Writes one frame; false when the frame is over kMaxOutgoingFrame (nothing is written) or
// the output is gone.
bool writeFrame(int fd, std::string_view body);

} // namespace mailhost
