// The characters of a CFString: one byte per character while every character is below U+0100
// (the common case, and what a Latin-1 message becomes), UTF-16 code units once one is not.
#pragma once

#include <CoreFoundation/CFString.h>

#include <cstddef>
#include <string>

namespace cf {

struct StringStorage {
  bool wide = false;
  std::string narrow;   // used while !wide: byte b is the character U+00bb
  std::u16string units; // used once wide

  size_t length() const { return wide ? units.size() : narrow.size(); }
  UniChar at(size_t index) const {
    return wide ? units[index] : static_cast<unsigned char>(narrow[index]);
  }
  void widen();
  void reserve(size_t count);
  void appendLatin1(const char* bytes, size_t count);
  void appendUnits(const char16_t* chars, size_t count);
  void appendUnit(UniChar unit);
  void append(const StringStorage& other, size_t from, size_t count);
  void append(const StringStorage& other) { append(other, 0, other.length()); }
  void erase(size_t from, size_t count);
  void insert(size_t at, const StringStorage& other);
  bool isASCII() const;
  template <class Visit>
  void forEachUnit(size_t from, size_t count, Visit visit) const {
    if (wide) {
      for (size_t i = from; i < from + count; ++i) {
        visit(static_cast<UniChar>(units[i]));
      }
    } else {
      for (size_t i = from; i < from + count; ++i) {
        visit(static_cast<UniChar>(static_cast<unsigned char>(narrow[i])));
      }
    }
  }
};

// Decodes bytes in the given encoding; false when they are not valid in it or the encoding is
// not supported.
bool decodeBytes(const UInt8* bytes, size_t count, CFStringEncoding encoding,
                 bool isExternalRepresentation, StringStorage& out);

// Encodes units [from, from + count) and appends the bytes to out (when out is not NULL).
// A unit the encoding cannot represent becomes lossByte, or ends the conversion when lossByte
// is 0. Returns the number of units converted.
size_t encodeUnits(const StringStorage& storage, size_t from, size_t count,
                   CFStringEncoding encoding, UInt8 lossByte, bool isExternalRepresentation,
                   std::string* out);

bool isSupportedEncoding(CFStringEncoding encoding);

} // namespace cf
