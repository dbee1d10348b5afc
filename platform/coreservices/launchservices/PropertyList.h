// Small owning wrapper around libplist for the dictionaries Launch Services and the application
// registry read and write (Info.plist files, registry entries).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace coreservices {

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

} // namespace coreservices
