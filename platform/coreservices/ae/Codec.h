// The flattened ('dle2') form of a descriptor's data, shared by AEFlattenDesc, AEUnflattenDesc,
// AEGetDescData of lists, records and events, and the transport. Layout:
// docs/flattened-descriptors.md.
#pragma once

#include "Storage.h"

#include <unix/BigEndian.h>

#include <cstddef>
#include <cstdint>

namespace ae {

constexpr std::uint32_t kFlatMagic = 0x646C6532; // 'dle2'
constexpr std::uint32_t kEventFormatVersion = 1;
constexpr std::uint32_t kEventTerminator = 0x3B3B3B3B; // ';;;;'
constexpr std::size_t kFlatHeaderSize = 8;
constexpr std::size_t kListHeaderSize = 24;
constexpr int kMaxNesting = 64;

// The type a descriptor is written under: records of another type travel as 'reco'.
DescType flatType(View v);
// Bytes of the data part of a descriptor (for a scalar, its data).
std::uint64_t bodySize(View v);
// Writes exactly bodySize(v) bytes; returns the end.
std::uint8_t* writeBody(View v, std::uint8_t* out);
// Parses the data part of a descriptor of the given (flattened) type from exactly len bytes.
// Never reads outside [p, p+len); malformed input gives errAECorruptData.
OSStatus readBody(DescType type, const std::uint8_t* p, std::size_t len, int depth, Value& out);

// A descriptor from caller data: list, record and event types take their flattened data part,
// every other type takes the bytes as they are.
OSErr valueFromData(DescType type, const void* data, Size size, Value& out);

inline std::uint32_t loadBE32(const std::uint8_t* p) {
  return os::readBigEndian32(p);
}
inline void storeBE32(std::uint8_t* p, std::uint32_t v) {
  os::writeBigEndian32(p, v);
}

} // namespace ae
