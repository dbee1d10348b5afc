// Byte buffers. The capacity that descriptions report follows CF's own schedule (16, then the
// next power of two above the highest set bit of the length needed); the real storage grows
// geometrically, so appends stay amortised O(1) either way.
#include "CFRuntime.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {
constexpr size_t kQuadrupleBelow = 64 * 1024;
}

struct __CFData final : cf::Object {
  enum class Kind { Immutable, Growable, FixedCapacity };

  __CFData(CFAllocatorRef allocator, Kind dataKind)
      : Object(cf::kDataTypeID, allocator), kind(dataKind) {}
  ~__CFData() override {
    if (owned) {
      std::free(bytes);
    }
  }

  bool equals(const cf::Object& other) const override {
    const auto& that = static_cast<const __CFData&>(other);
    return length == that.length && std::memcmp(bytes, that.bytes, length) == 0;
  }

  CFHashCode hash() const override {
    // CF hashes at most the first 80 bytes; the length takes part too.
    CFHashCode h = 14695981039346656037UL ^ static_cast<CFHashCode>(length);
    for (size_t i = 0; i < std::min<size_t>(length, 80); ++i) {
      h = (h ^ bytes[i]) * 1099511628211UL;
    }
    return h;
  }

  CFStringRef copyDescription() const override {
    static const char hex[] = "0123456789abcdef";
    std::string text = cf::descriptionPrefix("CFData", this) +
                       "{length = " + std::to_string(length) +
                       ", capacity = " + std::to_string(capacity) + ", bytes = 0x";
    auto put = [&](size_t from, size_t to) {
      for (size_t i = from; i < to; ++i) {
        text.push_back(hex[bytes[i] >> 4]);
        text.push_back(hex[bytes[i] & 0xF]);
      }
    };
    if (length > 24) {
      put(0, 16);
      text += " ... ";
      put(length - 8, length);
    } else {
      put(0, length);
    }
    text += "}";
    return cf::makeString(text);
  }

  // Makes room for newLength bytes; false when a fixed capacity does not allow it.
  bool reserve(size_t newLength) {
    if (kind == Kind::FixedCapacity && newLength > capacity) {
      return false;
    }
    if (kind == Kind::Growable && newLength > capacity) {
      capacity = newLength < 16 ? 16 : size_t{1} << std::bit_width(newLength);
    }
    if (newLength > storage) {
      // Fourfold while small: a buffer filled piece by piece (a message captured header by
      // header) moves a few times, not once per doubling from 16 bytes on.
      size_t factor = storage < kQuadrupleBelow ? 4 : 2;
      size_t grown = std::max({newLength, storage * factor, size_t{16}});
      auto* moved = static_cast<UInt8*>(std::realloc(bytes, grown));
      if (moved == nullptr) {
        throw std::bad_alloc();
      }
      bytes = moved;
      storage = grown;
    }
    return true;
  }

  Kind kind;
  UInt8* bytes = nullptr; // never NULL once constructed
  size_t length = 0;
  size_t capacity = 0; // what CF reports
  size_t storage = 0;  // what is allocated
  bool owned = true;
};

namespace {

__CFData* newData(CFAllocatorRef allocator, __CFData::Kind kind, size_t initialStorage) {
  auto* data = new __CFData(allocator, kind);
  data->storage = std::max<size_t>(initialStorage, 1);
  data->bytes = static_cast<UInt8*>(std::malloc(data->storage));
  if (data->bytes == nullptr) {
    delete data;
    throw std::bad_alloc();
  }
  return data;
}

__CFData* newImmutable(CFAllocatorRef allocator, const UInt8* bytes, size_t length) {
  __CFData* data = newData(allocator, __CFData::Kind::Immutable, length);
  if (length > 0) {
    std::memcpy(data->bytes, bytes, length);
  }
  data->length = length;
  data->capacity = length;
  return data;
}

__CFData* newMutable(CFAllocatorRef allocator, CFIndex capacity) {
  if (capacity <= 0) {
    __CFData* data = newData(allocator, __CFData::Kind::Growable, 16);
    data->capacity = 16;
    return data;
  }
  __CFData* data = newData(allocator, __CFData::Kind::FixedCapacity, static_cast<size_t>(capacity));
  data->capacity = static_cast<size_t>(capacity);
  return data;
}

} // namespace

CFTypeID CFDataGetTypeID(void) {
  return cf::kDataTypeID;
}

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length) {
  if (length < 0 || (bytes == nullptr && length > 0)) {
    return nullptr;
  }
  return newImmutable(allocator, bytes, static_cast<size_t>(length));
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity) {
  return newMutable(allocator, capacity);
}

CFIndex CFDataGetLength(CFDataRef theData) {
  return static_cast<CFIndex>(theData->length);
}

const UInt8* CFDataGetBytePtr(CFDataRef theData) {
  return theData->bytes;
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData) {
  return theData->kind == __CFData::Kind::Immutable ? nullptr : theData->bytes;
}

void CFDataSetLength(CFMutableDataRef theData, CFIndex length) {
  if (length < 0 || theData->kind == __CFData::Kind::Immutable) {
    return;
  }
  auto newLength = static_cast<size_t>(length);
  if (newLength > theData->length) {
    if (!theData->reserve(newLength)) {
      return;
    }
    std::memset(theData->bytes + theData->length, 0, newLength - theData->length);
  }
  theData->length = newLength;
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length) {
  // Bytes from elsewhere that fit the room already there, the usual case of a buffer being
  // filled piece by piece, go straight in.
  if (theData->kind != __CFData::Kind::Immutable && length > 0 && bytes != nullptr) {
    size_t newLength = theData->length + static_cast<size_t>(length);
    bool outside = bytes + length <= theData->bytes || bytes >= theData->bytes + theData->storage;
    if (outside && newLength <= theData->storage && newLength <= theData->capacity) {
      std::memcpy(theData->bytes + theData->length, bytes, static_cast<size_t>(length));
      theData->length = newLength;
      return;
    }
  }
  CFDataReplaceBytes(theData, CFRangeMake(static_cast<CFIndex>(theData->length), 0), bytes, length);
}

void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes,
                        CFIndex newLength) {
  if (theData->kind == __CFData::Kind::Immutable || range.location < 0 || range.length < 0 ||
      newLength < 0 || static_cast<size_t>(range.location + range.length) > theData->length ||
      (newBytes == nullptr && newLength > 0)) {
    return;
  }
  auto at = static_cast<size_t>(range.location);
  auto removed = static_cast<size_t>(range.length);
  auto added = static_cast<size_t>(newLength);
  size_t tail = theData->length - at - removed;
  size_t finalLength = theData->length - removed + added;
  // The new bytes may point into this buffer, which reserve() can move.
  const UInt8* source = newBytes;
  UInt8* copy = nullptr;
  if (added > 0 && source >= theData->bytes && source < theData->bytes + theData->storage) {
    copy = static_cast<UInt8*>(std::malloc(added));
    if (copy == nullptr) {
      throw std::bad_alloc();
    }
    std::memcpy(copy, source, added);
    source = copy;
  }
  if (theData->reserve(finalLength)) {
    if (tail > 0 && added != removed) {
      std::memmove(theData->bytes + at + added, theData->bytes + at + removed, tail);
    }
    if (added > 0) {
      std::memcpy(theData->bytes + at, source, added);
    }
    theData->length = finalLength;
  }
  std::free(copy);
}
