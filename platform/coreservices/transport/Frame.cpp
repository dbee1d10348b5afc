#include "transport/Frame.h"

#include <algorithm>
#include <cstring>

namespace coreservices {

void encodeHeader(const FrameHeader& header, std::uint8_t out[kFrameHeaderSize]) {
  writeBigEndian32(out, kFrameMagic);
  out[4] = static_cast<std::uint8_t>(kFrameVersion >> 8);
  out[5] = static_cast<std::uint8_t>(kFrameVersion);
  out[6] = static_cast<std::uint8_t>(header.kind);
  out[7] = header.flags;
  writeBigEndian32(out + 8, header.length);
  writeBigEndian32(out + 12, header.exchangeID);
}

HeaderCheck decodeHeader(const std::uint8_t in[kFrameHeaderSize], FrameHeader& header) {
  if (readBigEndian32(in) != kFrameMagic)
    return HeaderCheck::badMagic;
  if (((in[4] << 8) | in[5]) != kFrameVersion)
    return HeaderCheck::badVersion;
  if (in[6] < static_cast<std::uint8_t>(FrameKind::event) ||
      in[6] > static_cast<std::uint8_t>(FrameKind::accepted))
    return HeaderCheck::badKind;
  header.kind = static_cast<FrameKind>(in[6]);
  header.flags = in[7];
  header.length = readBigEndian32(in + 8);
  header.exchangeID = readBigEndian32(in + 12);
  if (header.length > kMaxFramePayload)
    return HeaderCheck::tooLarge;
  return HeaderCheck::ok;
}

std::vector<std::uint8_t> encodeFrame(const FrameHeader& header, const void* payload) {
  std::vector<std::uint8_t> frame(kFrameHeaderSize + header.length);
  encodeHeader(header, frame.data());
  if (header.length)
    std::memcpy(frame.data() + kFrameHeaderSize, payload, header.length);
  return frame;
}

std::vector<std::uint8_t> encodeErrorFrame(std::uint32_t exchangeID, std::int32_t status) {
  std::uint8_t code[4];
  writeBigEndian32(code, static_cast<std::uint32_t>(status));
  return encodeFrame({FrameKind::error, 0, 4, exchangeID}, code);
}

std::uint8_t* FrameInput::space(std::size_t wanted, std::size_t& room) {
  if (mBegin > 0 && mCapacity - mEnd < wanted) {
    std::memmove(mBytes.get(), mBytes.get() + mBegin, mEnd - mBegin);
    mEnd -= mBegin;
    mBegin = 0;
  }
  if (mCapacity - mEnd < wanted) {
    // Doubling: a large frame arriving in pieces is copied a few times, not once per piece.
    std::size_t const capacity = std::max(mEnd + wanted, 2 * mCapacity);
    auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(capacity);
    if (mEnd > 0)
      std::memcpy(bytes.get(), mBytes.get(), mEnd);
    mBytes = std::move(bytes);
    mCapacity = capacity;
  }
  room = mCapacity - mEnd;
  return mBytes.get() + mEnd;
}

void FrameInput::consume(std::size_t size) {
  mBegin += size;
  if (mBegin < mEnd)
    return;
  mBegin = mEnd = 0;
  // A large frame's space is not kept by a connection that goes on with small ones.
  if (mCapacity > kKeptCapacity) {
    mBytes.reset();
    mCapacity = 0;
  }
}

} // namespace coreservices
