#include "transport/Frame.h"

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

} // namespace coreservices
