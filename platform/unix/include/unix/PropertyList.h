// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// The one property-list codec (libplist): small owning dictionaries for bundle descriptions and
// registry entries, and the raw parse/serialise the object layers above convert from.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace os {

class PropertyList {
public:
  static PropertyList newDictionary();
  // XML or binary; nothing when the file is missing, unreadable, too large or not a dictionary.
  static std::optional<PropertyList> readDictionary(const std::string& path);

  std::optional<std::string> string(const char* key) const;
  std::optional<std::uint64_t> unsignedInteger(const char* key) const;
  void set(const char* key, const std::string& value);
  void set(const char* key, std::uint64_t value);
  std::string toXML() const;

private:
  struct Free {
    void operator()(void* node) const;
  };
  explicit PropertyList(void* node) : mNode(node) {}
  std::unique_ptr<void, Free> mNode;
};

} // namespace os
