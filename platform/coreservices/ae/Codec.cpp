#include "Codec.h"

#include "Event.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

namespace ae {
namespace {

// Width of the numbers inside data that is swapped between host order and the big-endian
// flattened form; 0 means the data is opaque bytes and travels as it is.
std::size_t swapUnit(DescType type, std::size_t size) {
  switch (type) {
  case typeSInt16:
  case typeUInt16:
    return size == 2 ? 2 : 0;
  case typeSInt32:
  case typeUInt32:
  case typeIEEE32BitFloatingPoint:
  case typeType:
  case typeEnumerated:
  case typeKeyword:
  case typeProperty:
  case typeApplSignature:
  case typeMachPort:
  case typeKernelProcessID:
    return size == 4 ? 4 : 0;
  case typeSInt64:
  case typeUInt64:
  case typeIEEE64BitFloatingPoint:
    return size == 8 ? 8 : 0;
  case typeProcessSerialNumber:
    return size == 8 ? 4 : 0;
  case typeUnicodeText:
    return size % 2 == 0 ? 2 : 0;
  default:
    return 0;
  }
}

void copySwapped(DescType type, const std::uint8_t* from, std::size_t size, std::uint8_t* to) {
  std::size_t unit = std::endian::native == std::endian::big ? 0 : swapUnit(type, size);
  if (unit == 0) {
    if (size)
      std::memcpy(to, from, size);
    return;
  }
  for (std::size_t i = 0; i < size; i += unit)
    std::reverse_copy(from + i, from + i + unit, to + i);
}

std::uint64_t padded(std::uint64_t n) {
  return n + (n & 1);
}

std::uint64_t entriesSize(const std::vector<Entry>& entries, bool keyed) {
  std::uint64_t total = 0;
  for (const Entry& e : entries)
    total += (keyed ? 12 : 8) + padded(bodySize(view(e.value)));
  return total;
}

// Where flattened bytes go: `room` gives the place for the next n bytes, `data` takes a scalar's.
struct ContiguousOut {
  std::uint8_t* at;
  std::uint8_t* room(std::size_t n) { return std::exchange(at, at + n); }
  void data(View v) { copySwapped(v.type, v.data(), v.size(), room(v.size())); }
};

template <class Out>
void writeBodyTo(View v, Out& out);

template <class Out>
void writeEntriesTo(const std::vector<Entry>& entries, bool keyed, Out& out) {
  for (const Entry& e : entries) {
    View v = view(e.value);
    std::uint64_t size = bodySize(v);
    std::uint8_t* header = out.room(keyed ? 12 : 8);
    if (keyed) {
      storeBE32(header, e.key);
      header += 4;
    }
    storeBE32(header, flatType(v));
    storeBE32(header + 4, std::uint32_t(size));
    writeBodyTo(v, out);
    if (size & 1)
      *out.room(1) = 0;
  }
}

template <class Out>
void writeBodyTo(View v, Out& out) {
  Kind kind = v.kind();
  if (kind == Kind::Scalar) {
    out.data(v);
    return;
  }
  const Node& n = *v.node;
  if (kind == Kind::Event) {
    std::uint8_t* header = out.room(12);
    storeBE32(header, kEventFormatVersion);
    storeBE32(header + 4, std::uint32_t(n.attrs.size()));
    storeBE32(header + 8, std::uint32_t(n.items.size()));
    writeEntriesTo(n.attrs, true, out);
    writeEntriesTo(n.items, true, out);
    storeBE32(out.room(4), kEventTerminator);
    return;
  }
  bool isRecord = kind == Kind::Record;
  std::uint8_t* header = out.room(kListHeaderSize);
  storeBE32(header, 0);
  storeBE32(header + 4, 0);
  storeBE32(header + 8, kListHeaderSize);
  storeBE32(header + 12, isRecord ? typeAERecord : typeAEList);
  storeBE32(header + 16, std::uint32_t(n.items.size()));
  storeBE32(header + 20, isRecord && v.type != typeAERecord ? v.type : 0);
  writeEntriesTo(n.items, isRecord, out);
}

// Bounded cursor over untrusted bytes.
struct Reader {
  const std::uint8_t* p;
  std::size_t left;

  bool u32(std::uint32_t& v) {
    if (left < 4)
      return false;
    v = loadBE32(p);
    p += 4;
    left -= 4;
    return true;
  }
  bool take(std::size_t n, const std::uint8_t*& out) {
    if (left < n)
      return false;
    out = p;
    p += n;
    left -= n;
    return true;
  }
};

// Reads `count` entries (keyed or not) from r into entries.
OSStatus readEntries(Reader& r, std::uint32_t count, bool keyed, int depth,
                     std::vector<Entry>& entries) {
  // Each entry takes at least 8 bytes, so the count can be checked before anything is kept.
  if (count > r.left / (keyed ? 12 : 8))
    return errAECorruptData;
  entries.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t key = typeWildCard, type = 0, size = 0;
    if ((keyed && !r.u32(key)) || !r.u32(type) || !r.u32(size))
      return errAECorruptData;
    const std::uint8_t* data = nullptr;
    if (!r.take(size, data))
      return errAECorruptData;
    const std::uint8_t* pad = nullptr;
    if ((size & 1) && !r.take(1, pad))
      return errAECorruptData;
    Value v;
    if (OSStatus err = readBody(type, data, size, depth + 1, v))
      return err;
    entries.push_back({key, std::move(v)});
  }
  if (keyed) {
    // A keyword may appear once; sorting keeps this linear-logarithmic for large records.
    std::vector<AEKeyword> keys;
    keys.reserve(entries.size());
    for (const Entry& e : entries)
      keys.push_back(e.key);
    std::sort(keys.begin(), keys.end());
    if (std::adjacent_find(keys.begin(), keys.end()) != keys.end())
      return errAECorruptData;
  }
  return noErr;
}

OSStatus readList(DescType type, const std::uint8_t* p, std::size_t len, int depth, Value& out) {
  Reader r{p, len};
  std::uint32_t w[6];
  for (auto& word : w)
    if (!r.u32(word))
      return errAECorruptData;
  bool isRecord = type == typeAERecord;
  if (w[0] != 0 || w[1] != 0 || w[2] != kListHeaderSize || w[3] != type)
    return errAECorruptData;
  DescType actual = type;
  if (w[5] != 0) {
    if (!isRecord || w[5] == typeAEList || w[5] == typeAppleEvent || w[5] == typeNull)
      return errAECorruptData;
    actual = w[5];
  }
  Value v = makeComposite(actual, isRecord ? Kind::Record : Kind::List);
  if (OSStatus err = readEntries(r, w[4], isRecord, depth, v.node->items))
    return err;
  if (r.left != 0)
    return errAECorruptData;
  out = std::move(v);
  return noErr;
}

OSStatus readEvent(const std::uint8_t* p, std::size_t len, int depth, Value& out) {
  Reader r{p, len};
  std::uint32_t version = 0, attrCount = 0, paramCount = 0, end = 0;
  if (!r.u32(version) || !r.u32(attrCount) || !r.u32(paramCount))
    return errAECorruptData;
  if (version != kEventFormatVersion)
    return errAECorruptData;
  Value v = makeComposite(typeAppleEvent, Kind::Event);
  if (OSStatus err = readEntries(r, attrCount, true, depth, v.node->attrs))
    return err;
  if (OSStatus err = readEntries(r, paramCount, true, depth, v.node->items))
    return err;
  if (!r.u32(end) || end != kEventTerminator || r.left != 0)
    return errAECorruptData;
  if (!hasValidRequiredAttributes(*v.node))
    return errAECorruptData;
  orderAttributes(*v.node);
  out = std::move(v);
  return noErr;
}

} // namespace

DescType flatType(View v) {
  return v.kind() == Kind::Record ? DescType(typeAERecord) : v.type;
}

std::uint64_t bodySize(View v) {
  switch (v.kind()) {
  case Kind::Scalar:
    return v.size();
  case Kind::List:
    return kListHeaderSize + entriesSize(v.node->items, false);
  case Kind::Record:
    return kListHeaderSize + entriesSize(v.node->items, true);
  case Kind::Event:
    return 12 + entriesSize(v.node->attrs, true) + entriesSize(v.node->items, true) + 4;
  }
  return 0;
}

std::uint8_t* writeBody(View v, std::uint8_t* out) {
  ContiguousOut to{out};
  writeBodyTo(v, to);
  return to.at;
}

FlatPieces::FlatPieces(FlatPieces&& other) noexcept
    : mBytes(std::move(other.mBytes)), mCapacity(std::exchange(other.mCapacity, 0)),
      mUsed(std::exchange(other.mUsed, 0)), mInPlace(std::move(other.mInPlace)) {
  other.mInPlace.clear();
}

FlatPieces& FlatPieces::operator=(FlatPieces&& other) noexcept {
  if (this != &other) {
    mBytes = std::move(other.mBytes);
    mCapacity = std::exchange(other.mCapacity, 0);
    mUsed = std::exchange(other.mUsed, 0);
    mInPlace = std::move(other.mInPlace);
    other.mInPlace.clear();
  }
  return *this;
}

void FlatPieces::clear(std::size_t most) {
  mUsed = 0;
  mInPlace.clear();
  if (most > mCapacity) {
    mBytes = std::make_unique_for_overwrite<std::uint8_t[]>(most);
    mCapacity = most;
  }
}

void FlatPieces::grow(std::size_t n) {
  std::size_t capacity = std::max({mUsed + n, 2 * mCapacity, std::size_t{256}});
  auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(capacity);
  if (mUsed > 0)
    std::memcpy(bytes.get(), mBytes.get(), mUsed);
  mBytes = std::move(bytes);
  mCapacity = capacity;
}

void FlatPieces::data(View v) {
  if (v.size() < kLeftInPlace || swapUnit(v.type, v.size()) != 0) {
    copySwapped(v.type, v.data(), v.size(), room(v.size()));
    return;
  }
  mInPlace.push_back({mUsed, v.data(), v.size()});
}

std::size_t FlatPieces::size() const {
  std::size_t size = mUsed;
  for (const InPlace& data : mInPlace)
    size += data.length;
  return size;
}

OSStatus flattenInPieces(View v, FlatPieces& out) {
  std::uint64_t body = bodySize(v);
  if (body > std::numeric_limits<std::uint32_t>::max())
    return paramErr; // the length fields are 32-bit
  std::uint8_t* header = out.room(kFlatHeaderSize + 8);
  storeBE32(header, kFlatMagic);
  storeBE32(header + 4, 0);
  storeBE32(header + 8, flatType(v));
  storeBE32(header + 12, std::uint32_t(body));
  writeBodyTo(v, out);
  return noErr;
}

OSStatus readBody(DescType type, const std::uint8_t* p, std::size_t len, int depth, Value& out) {
  if (depth > kMaxNesting)
    return errAECorruptData;
  switch (type) {
  case typeNull:
    if (len != 0)
      return errAECorruptData;
    out = Value();
    return noErr;
  case typeAEList:
  case typeAERecord:
    return readList(type, p, len, depth, out);
  case typeAppleEvent:
    return readEvent(p, len, depth, out);
  default: {
    Value v(type, nullptr);
    if (len) {
      v.node = std::make_unique<Node>();
      v.node->bytes.resize(len);
      copySwapped(type, p, len, v.node->bytes.data());
    }
    out = std::move(v);
    return noErr;
  }
  }
}

OSErr valueFromData(DescType type, const void* data, Size size, Value& out) {
  if (size < 0 || (size > 0 && !data))
    return paramErr;
  switch (type) {
  case typeAEList:
  case typeAERecord:
    if (size == 0) {
      out = makeComposite(type, type == typeAEList ? Kind::List : Kind::Record);
      return noErr;
    }
    [[fallthrough]];
  case typeAppleEvent:
    return OSErr(readBody(type, static_cast<const std::uint8_t*>(data), std::size_t(size), 0, out));
  default:
    out = makeScalar(type, data, std::size_t(size));
    return noErr;
  }
}

} // namespace ae
