// Frames on an Apple Event connection: a 16-byte big-endian header, then the payload (a
// flattened Apple Event, or for an error frame a 4-byte result code). docs/wire-format.md
// describes the bytes.
#pragma once

#include <unix/BigEndian.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace coreservices {

constexpr std::uint32_t kFrameMagic = 0x41457766; // "AEwf"
constexpr std::uint16_t kFrameVersion = 1;
constexpr std::size_t kFrameHeaderSize = 16;
constexpr std::uint32_t kMaxFramePayload = 256u * 1024 * 1024;
constexpr std::size_t kReceiveRoom = 64 * 1024; // a receive's room before a frame's size is known

enum class FrameKind : std::uint8_t { event = 1, reply = 2, error = 3, accepted = 4 };

// Flags of an event frame.
constexpr std::uint8_t kFrameWantsReply = 0x01;

struct FrameHeader {
  FrameKind kind = FrameKind::event;
  std::uint8_t flags = 0;
  std::uint32_t length = 0;
  std::uint32_t exchangeID = 0;
};

enum class HeaderCheck { ok, badMagic, badVersion, badKind, tooLarge };

void encodeHeader(const FrameHeader& header, std::uint8_t out[kFrameHeaderSize]);
HeaderCheck decodeHeader(const std::uint8_t in[kFrameHeaderSize], FrameHeader& header);

std::vector<std::uint8_t> encodeFrame(const FrameHeader& header, const void* payload);
// An error frame's payload: the result code as a big-endian 32-bit integer.
std::vector<std::uint8_t> encodeErrorFrame(std::uint32_t exchangeID, std::int32_t status);

// The bytes of one connection not yet taken as frames. A receive takes whatever is there, so a
// frame written whole is read in one call, header and payload; the space is reused from frame
// to frame and never zero-filled.
class FrameInput {
public:
  // The place for the next receive, with room for `wanted` bytes or more.
  std::uint8_t* space(std::size_t wanted, std::size_t& room);
  void received(std::size_t size) { mEnd += size; }

  const std::uint8_t* data() const { return mBytes.get() + mBegin; }
  std::size_t size() const { return mEnd - mBegin; }
  void consume(std::size_t size);

private:
  // Between frames a connection keeps no more than a receive's room: a large frame's space
  // lives only while that frame is read and taken, not for as long as the connection lasts.
  static constexpr std::size_t kKeptCapacity = kReceiveRoom;
  std::unique_ptr<std::uint8_t[]> mBytes;
  std::size_t mCapacity = 0;
  std::size_t mBegin = 0;
  std::size_t mEnd = 0;
};

using os::readBigEndian32;
using os::writeBigEndian32;

} // namespace coreservices
