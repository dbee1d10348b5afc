// Conversions between bytes and string characters for the encodings CF names. The 8-bit Mac
// and Windows tables come from the C library's iconv.
#include "StringStorage.h"

#include <array>
#include <bit>
#include <iconv.h>

namespace cf {
namespace {

using HighTable = std::array<char16_t, 128>;

// Characters of bytes 0x80..0xFF in an 8-bit iconv charset; bytes it leaves undefined keep
// their Latin-1 meaning.
HighTable loadHighTable(const char* charset) {
  HighTable table{};
  iconv_t cd = iconv_open("UTF-16LE", charset);
  for (int b = 0x80; b < 0x100; ++b) {
    table[b - 0x80] = static_cast<char16_t>(b);
    if (cd == reinterpret_cast<iconv_t>(-1)) {
      continue;
    }
    char in = static_cast<char>(b);
    unsigned char out[4] = {};
    char* inp = &in;
    char* outp = reinterpret_cast<char*>(out);
    size_t inLeft = 1;
    size_t outLeft = sizeof out;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    if (iconv(cd, &inp, &inLeft, &outp, &outLeft) != static_cast<size_t>(-1) && outLeft == 2) {
      table[b - 0x80] = static_cast<char16_t>(out[0] | (out[1] << 8));
    }
  }
  if (cd != reinterpret_cast<iconv_t>(-1)) {
    iconv_close(cd);
  }
  return table;
}

const HighTable& highTable(CFStringEncoding encoding) {
  static const HighTable macRoman = loadHighTable("MACINTOSH");
  static const HighTable windowsLatin1 = loadHighTable("CP1252");
  return encoding == kCFStringEncodingMacRoman ? macRoman : windowsLatin1;
}

bool isLatin1Like(CFStringEncoding encoding) {
  return encoding == kCFStringEncodingASCII || encoding == kCFStringEncodingISOLatin1;
}

bool isTable8Bit(CFStringEncoding encoding) {
  return encoding == kCFStringEncodingMacRoman || encoding == kCFStringEncodingWindowsLatin1 ||
         encoding == kCFStringEncodingNextStepLatin;
}

bool decodeTable8Bit(const UInt8* bytes, size_t count, CFStringEncoding encoding,
                     StringStorage& out) {
  const HighTable& table = highTable(encoding);
  for (size_t i = 0; i < count; ++i) {
    if (bytes[i] < 0x80) {
      out.appendLatin1(reinterpret_cast<const char*>(bytes + i), 1);
    } else {
      out.appendUnit(table[bytes[i] - 0x80]);
    }
  }
  return true;
}

// One code point as UTF-16: a surrogate pair above the Basic Multilingual Plane.
void appendCodePoint(char32_t cp, StringStorage& out) {
  if (cp >= 0x10000) {
    char16_t pair[2] = {static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)),
                        static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF))};
    out.appendUnits(pair, 2);
  } else {
    out.appendUnit(static_cast<UniChar>(cp));
  }
}

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool decodeUTF8(const UInt8* bytes, size_t count, StringStorage& out) {
  if (count >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) {
    bytes += 3;
    count -= 3;
  }
  char32_t highest = 0;
  size_t unitCount = 0;
  for (size_t i = 0; i < count;) {
    UInt8 b = bytes[i];
    char32_t cp;
    size_t extra;
    if (b < 0x80) {
      cp = b;
      extra = 0;
    } else if (b >= 0xC2 && b <= 0xDF) {
      cp = b & 0x1F;
      extra = 1;
    } else if (b >= 0xE0 && b <= 0xEF) {
      cp = b & 0x0F;
      extra = 2;
    } else if (b >= 0xF0 && b <= 0xF4) {
      cp = b & 0x07;
      extra = 3;
    } else {
      return false;
    }
    if (i + extra >= count) {
      return false;
    }
    for (size_t k = 1; k <= extra; ++k) {
      UInt8 c = bytes[i + k];
      if ((c & 0xC0) != 0x80) {
        return false;
      }
      cp = (cp << 6) | (c & 0x3F);
    }
    if ((extra == 2 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF))) ||
        (extra == 3 && (cp < 0x10000 || cp > 0x10FFFF))) {
      return false;
    }
    highest = cp > highest ? cp : highest;
    unitCount += cp >= 0x10000 ? 2 : 1;
    i += extra + 1;
  }
  if (highest < 0x80) {
    out.appendLatin1(reinterpret_cast<const char*>(bytes), count);
    return true;
  }
  if (highest > 0xFF) {
    out.widen();
  }
  out.reserve(out.length() + unitCount);
  for (size_t i = 0; i < count;) {
    UInt8 b = bytes[i];
    char32_t cp = b;
    size_t extra = b < 0x80 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : 3;
    if (extra > 0) {
      cp = b & (0x3F >> extra);
      for (size_t k = 1; k <= extra; ++k) {
        cp = (cp << 6) | (bytes[i + k] & 0x3F);
      }
    }
    appendCodePoint(cp, out);
    i += extra + 1;
  }
  return true;
}

enum class Order { Host, Big, Little };

// Whether units of `width` bytes are big-endian. In host order a leading byte-order mark
// decides, and is skipped.
bool bigEndianAfterMark(const UInt8*& bytes, size_t& count, size_t width, Order order) {
  bool big =
      order == Order::Big || (order == Order::Host && std::endian::native == std::endian::big);
  if (order != Order::Host || count < width) {
    return big;
  }
  bool bigMark = true;
  bool littleMark = true;
  for (size_t k = 0; k < width; ++k) {
    bigMark = bigMark && bytes[k] == ((0xFEFFu >> (8 * (width - 1 - k))) & 0xFF);
    littleMark = littleMark && bytes[k] == ((0xFEFFu >> (8 * k)) & 0xFF);
  }
  if (bigMark || littleMark) {
    bytes += width;
    count -= width;
  }
  return bigMark || (big && !littleMark);
}

bool decodeUTF16(const UInt8* bytes, size_t count, Order order, StringStorage& out) {
  if (count % 2 != 0) {
    return false;
  }
  bool big = bigEndianAfterMark(bytes, count, 2, order);
  std::u16string units(count / 2, u'\0');
  for (size_t i = 0; i < units.size(); ++i) {
    units[i] = big ? static_cast<char16_t>((bytes[2 * i] << 8) | bytes[2 * i + 1])
                   : static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
  }
  out.appendUnits(units.data(), units.size());
  return true;
}

bool decodeUTF32(const UInt8* bytes, size_t count, Order order, StringStorage& out) {
  if (count % 4 != 0) {
    return false;
  }
  bool big = bigEndianAfterMark(bytes, count, 4, order);
  for (size_t i = 0; i < count; i += 4) {
    const UInt8* p = bytes + i;
    char32_t cp = big ? (char32_t(p[0]) << 24 | char32_t(p[1]) << 16 | char32_t(p[2]) << 8 | p[3])
                      : (char32_t(p[3]) << 24 | char32_t(p[2]) << 16 | char32_t(p[1]) << 8 | p[0]);
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      return false;
    }
    appendCodePoint(cp, out);
  }
  return true;
}

// The byte for one unit in an 8-bit encoding, or -1.
int encode8Bit(UniChar unit, CFStringEncoding encoding) {
  if (unit < 0x80) {
    return unit;
  }
  if (encoding == kCFStringEncodingISOLatin1) {
    return unit < 0x100 ? unit : -1;
  }
  if (encoding == kCFStringEncodingASCII) {
    return -1;
  }
  const HighTable& table = highTable(encoding);
  for (int i = 0; i < 128; ++i) {
    if (table[i] == unit) {
      return 0x80 + i;
    }
  }
  return -1;
}

void putUnit16(std::string* out, char16_t unit, bool big) {
  if (out == nullptr) {
    return;
  }
  char hi = static_cast<char>(unit >> 8);
  char lo = static_cast<char>(unit & 0xFF);
  out->push_back(big ? hi : lo);
  out->push_back(big ? lo : hi);
}

// Whether the unit at i is a high surrogate followed, before end, by a low one.
bool joinsPair(const StringStorage& storage, size_t i, size_t end) {
  UniChar unit = storage.at(i);
  return unit >= 0xD800 && unit <= 0xDBFF && i + 1 < end && storage.at(i + 1) >= 0xDC00 &&
         storage.at(i + 1) <= 0xDFFF;
}

} // namespace

bool isSupportedEncoding(CFStringEncoding encoding) {
  switch (encoding) {
  case kCFStringEncodingMacRoman:
  case kCFStringEncodingWindowsLatin1:
  case kCFStringEncodingISOLatin1:
  case kCFStringEncodingNextStepLatin:
  case kCFStringEncodingASCII:
  case kCFStringEncodingUTF16:
  case kCFStringEncodingUTF8:
  case kCFStringEncodingUTF16BE:
  case kCFStringEncodingUTF16LE:
  case kCFStringEncodingUTF32:
  case kCFStringEncodingUTF32BE:
  case kCFStringEncodingUTF32LE:
    return true;
  default:
    return false;
  }
}

bool decodeBytes(const UInt8* bytes, size_t count, CFStringEncoding encoding,
                 bool /*isExternalRepresentation*/, StringStorage& out) {
  if (count == 0) {
    return isSupportedEncoding(encoding);
  }
  if (isLatin1Like(encoding)) {
    out.appendLatin1(reinterpret_cast<const char*>(bytes), count);
    return true;
  }
  if (isTable8Bit(encoding)) {
    // NeXTSTEP Latin shares its ASCII half; its upper half is read as Windows Latin-1.
    return decodeTable8Bit(bytes, count, encoding, out);
  }
  switch (encoding) {
  case kCFStringEncodingUTF8:
    return decodeUTF8(bytes, count, out);
  case kCFStringEncodingUTF16:
    return decodeUTF16(bytes, count, Order::Host, out);
  case kCFStringEncodingUTF16BE:
    return decodeUTF16(bytes, count, Order::Big, out);
  case kCFStringEncodingUTF16LE:
    return decodeUTF16(bytes, count, Order::Little, out);
  case kCFStringEncodingUTF32:
    return decodeUTF32(bytes, count, Order::Host, out);
  case kCFStringEncodingUTF32BE:
    return decodeUTF32(bytes, count, Order::Big, out);
  case kCFStringEncodingUTF32LE:
    return decodeUTF32(bytes, count, Order::Little, out);
  default:
    return false;
  }
}

size_t encodeUnits(const StringStorage& storage, size_t from, size_t count,
                   CFStringEncoding encoding, UInt8 lossByte, bool isExternalRepresentation,
                   std::string* out) {
  if (!storage.wide && encoding == kCFStringEncodingISOLatin1) {
    if (out != nullptr) {
      out->append(storage.narrow, from, count);
    }
    return count;
  }
  size_t done = 0;
  if (encoding == kCFStringEncodingUTF8) {
    if (out != nullptr) {
      out->reserve(out->size() + count);
    }
    for (size_t i = from; i < from + count; ++i, ++done) {
      char32_t cp = storage.at(i);
      if (joinsPair(storage, i, from + count)) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (storage.at(i + 1) - 0xDC00);
        ++i;
        ++done;
      } else if (cp >= 0xD800 && cp <= 0xDFFF) {
        if (lossByte == 0) {
          return done;
        }
        if (out != nullptr) {
          out->push_back(static_cast<char>(lossByte));
        }
        continue;
      }
      if (out == nullptr) {
        continue;
      }
      if (cp < 0x80) {
        out->push_back(static_cast<char>(cp));
      } else if (cp < 0x800) {
        out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
      } else if (cp < 0x10000) {
        out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
      } else {
        out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
      }
    }
    return done;
  }
  if (encoding == kCFStringEncodingUTF16 || encoding == kCFStringEncodingUTF16BE ||
      encoding == kCFStringEncodingUTF16LE) {
    bool big = encoding == kCFStringEncodingUTF16BE ||
               (encoding == kCFStringEncodingUTF16 && std::endian::native == std::endian::big);
    if (encoding == kCFStringEncodingUTF16 && isExternalRepresentation) {
      putUnit16(out, 0xFEFF, big);
    }
    storage.forEachUnit(from, count, [&](UniChar unit) { putUnit16(out, unit, big); });
    return count;
  }
  if (encoding == kCFStringEncodingUTF32 || encoding == kCFStringEncodingUTF32BE ||
      encoding == kCFStringEncodingUTF32LE) {
    bool big = encoding == kCFStringEncodingUTF32BE ||
               (encoding == kCFStringEncodingUTF32 && std::endian::native == std::endian::big);
    auto put = [&](char32_t cp) {
      if (out == nullptr) {
        return;
      }
      for (int k = 0; k < 4; ++k) {
        int shift = big ? 24 - 8 * k : 8 * k;
        out->push_back(static_cast<char>((cp >> shift) & 0xFF));
      }
    };
    if (encoding == kCFStringEncodingUTF32 && isExternalRepresentation) {
      put(0xFEFF);
    }
    for (size_t i = from; i < from + count; ++i, ++done) {
      char32_t cp = storage.at(i);
      if (joinsPair(storage, i, from + count)) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (storage.at(i + 1) - 0xDC00);
        ++i;
        ++done;
      }
      put(cp);
    }
    return done;
  }
  if (!isLatin1Like(encoding) && !isTable8Bit(encoding)) {
    return 0;
  }
  for (size_t i = from; i < from + count; ++i, ++done) {
    int byte = encode8Bit(storage.at(i), encoding);
    if (byte < 0) {
      if (lossByte == 0) {
        return done;
      }
      byte = lossByte;
    }
    if (out != nullptr) {
      out->push_back(static_cast<char>(byte));
    }
  }
  return done;
}

} // namespace cf
