// The flattened ('dle2') form of a descriptor's data, shared by AEFlattenDesc, AEUnflattenDesc,
// AEGetDescData of lists, records and events, and the transport. Layout:
// docs/flattened-descriptors.md.
#pragma once

#include "Storage.h"

#include <unix/BigEndian.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

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
// A descriptor's flattened form (as AEFlattenDesc writes it) in pieces, for a gathering write:
// runs of bytes written here, and between them the data of large scalars that travel as they
// are, left where they lie, so that a message's bytes are not copied once more to be sent.
class FlatPieces {
public:
  static constexpr std::size_t kLeftInPlace = 4096; // scalar data at least this large

  FlatPieces() = default;
  // A moved-from one is empty, with no room.
  FlatPieces(FlatPieces&& other) noexcept;
  FlatPieces& operator=(FlatPieces&& other) noexcept;

  // Empties it, with room for `most` bytes before it has to move (what is not written is never
  // touched, so a generous guess costs address space only).
  void clear(std::size_t most = 0);
  // The place for the next n bytes.
  std::uint8_t* room(std::size_t n) {
    if (mUsed + n > mCapacity)
      grow(n);
    std::uint8_t* at = mBytes.get() + mUsed;
    mUsed += n;
    return at;
  }
  void data(View v); // a scalar's data
  std::size_t size() const;
  std::uint8_t* firstBytes() { return mBytes.get(); } // what the first room() gave
  std::size_t ownBytes() const { return mCapacity; }
  // Calls `piece(start, length)` for each piece in order; the bytes stay valid while this object
  // and the descriptor stay unchanged.
  template <class Piece>
  void forEachPiece(Piece&& piece) const {
    std::size_t written = 0; // own bytes given out so far
    for (const InPlace& data : mInPlace) {
      if (data.after > written)
        piece(mBytes.get() + written, data.after - written);
      piece(data.data, data.length);
      written = data.after;
    }
    if (mUsed > written)
      piece(mBytes.get() + written, mUsed - written);
  }

private:
  // Data left in place, between the bytes written before it and those after.
  struct InPlace {
    std::size_t after; // bytes written before it
    const std::uint8_t* data;
    std::size_t length;
  };
  void grow(std::size_t n);

  std::unique_ptr<std::uint8_t[]> mBytes;
  std::size_t mCapacity = 0;
  std::size_t mUsed = 0;
  std::vector<InPlace> mInPlace;
};
// Appends the descriptor's flattened form; paramErr when it is too large to flatten.
OSStatus flattenInPieces(View v, FlatPieces& out);

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
