// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// The one property-list codec (libplist): XML or binary bytes to a tree of plain values and the
// tree to XML, plus a small dictionary for the files the platform writes itself (registry
// entries) and reads from bundles (Info.plist).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace os {

struct PlistValue {
  enum class Kind { boolean, integer, real, date, string, data, array, dictionary };

  Kind kind = Kind::dictionary;
  bool boolean = false;
  std::uint64_t integer = 0;     // 64 bits, a negative number in two's complement
  double real = 0;               // a date: seconds since 1 January 2001
  std::string bytes;             // a string's UTF-8, or data
  std::vector<PlistValue> items; // an array's items, or a dictionary's values
  std::vector<std::string> keys; // a dictionary's keys, in the order they were set

  static PlistValue of(Kind kind) {
    PlistValue value;
    value.kind = kind;
    return value;
  }
  const PlistValue* find(std::string_view key) const;
  // Replaces the value of an existing key in place, else appends.
  void set(std::string key, PlistValue value);
};

// Nesting deeper than this is not a file anyone wrote by hand or by program: deeper values are
// left out when reading.
constexpr int kMaxPlistDepth = 512;

// XML or binary; nothing when the bytes are not a property list.
std::optional<PlistValue> parsePropertyList(std::string_view bytes);
// The XML form; nothing when libplist cannot give one.
std::optional<std::string> propertyListXML(const PlistValue& root);

class PropertyList {
public:
  static PropertyList newDictionary() { return PropertyList(); }
  // XML or binary; nothing when the file is missing, unreadable, too large or not a dictionary.
  static std::optional<PropertyList> readDictionary(const std::string& path);

  std::optional<std::string> string(const char* key) const;
  std::optional<std::uint64_t> unsignedInteger(const char* key) const;
  void set(const char* key, const std::string& value);
  void set(const char* key, std::uint64_t value);
  std::string toXML() const;

private:
  PlistValue mRoot;
};

} // namespace os
