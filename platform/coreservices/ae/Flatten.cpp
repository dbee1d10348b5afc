// AEFlattenDesc and friends: a descriptor as a self-contained run of bytes.
#include "AEPrivate.h"
#include "Codec.h"

#include <cstdint>
#include <limits>

using namespace ae;

namespace {

constexpr std::size_t kTopHeaderSize = kFlatHeaderSize + 8; // 'dle2', version, type, length

std::uint64_t flattenedSize(const AEDesc* d) {
  return kTopHeaderSize + bodySize(view(d));
}

} // namespace

extern "C" {

Size AESizeOfFlattenedDesc(const AEDesc* theAEDesc) {
  return theAEDesc ? Size(flattenedSize(theAEDesc)) : 0;
}

OSStatus AEFlattenDesc(const AEDesc* theAEDesc, Ptr buffer, Size bufferSize, Size* actualSize) {
  if (!theAEDesc || bufferSize < 0)
    return paramErr;
  std::uint64_t body = bodySize(view(theAEDesc));
  if (body > std::numeric_limits<std::uint32_t>::max())
    return paramErr; // the length fields are 32-bit
  Size total = Size(kTopHeaderSize + body);
  if (actualSize)
    *actualSize = total;
  if (!buffer)
    return noErr;
  if (bufferSize < total)
    return errAEBufferTooSmall;
  auto* out = reinterpret_cast<std::uint8_t*>(buffer);
  storeBE32(out, kFlatMagic);
  storeBE32(out + 4, 0);
  storeBE32(out + 8, flatType(view(theAEDesc)));
  storeBE32(out + 12, std::uint32_t(body));
  writeBody(view(theAEDesc), out + kTopHeaderSize);
  return noErr;
}

OSStatus AEUnflattenDescFromBuffer(const void* buf, Size len, AEDesc* result) {
  if (!result)
    return paramErr;
  *result = nullDesc();
  if (!buf || len < Size(kTopHeaderSize) || len > kAEMaxFlattenedSize)
    return paramErr;
  const auto* p = static_cast<const std::uint8_t*>(buf);
  if (loadBE32(p) != kFlatMagic || loadBE32(p + 4) != 0)
    return paramErr;
  DescType type = loadBE32(p + 8);
  std::uint32_t body = loadBE32(p + 12);
  if (body != std::uint64_t(len) - kTopHeaderSize)
    return errAECorruptData;
  return guarded([&] {
    Value v;
    if (OSStatus err = readBody(type, p + kTopHeaderSize, body, 0, v))
      return OSErr(err);
    *result = v.release();
    return OSErr(noErr);
  });
}

OSStatus AEUnflattenDesc(const void* buffer, AEDesc* result) {
  if (!result)
    return paramErr;
  *result = nullDesc();
  if (!buffer)
    return paramErr;
  // The caller vouches for the buffer; its extent is taken from the header.
  const auto* p = static_cast<const std::uint8_t*>(buffer);
  if (loadBE32(p) != kFlatMagic || loadBE32(p + 4) != 0)
    return paramErr;
  std::uint64_t total = kTopHeaderSize + std::uint64_t(loadBE32(p + 12));
  if (total > std::uint64_t(kAEMaxFlattenedSize))
    return paramErr;
  return AEUnflattenDescFromBuffer(buffer, Size(total), result);
}

} // extern "C"
