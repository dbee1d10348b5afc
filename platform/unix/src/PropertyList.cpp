// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/PropertyList.h"

#include "unix/AtomicFile.h"

#include <plist/plist.h>

namespace os {

namespace {
constexpr std::size_t kLargestReadablePlist = 4 * 1024 * 1024;
}

void PropertyList::Free::operator()(void* node) const {
  plist_free(static_cast<plist_t>(node));
}

PropertyList PropertyList::newDictionary() {
  return PropertyList(plist_new_dict());
}

std::optional<PropertyList> PropertyList::readDictionary(const std::string& path) {
  std::string bytes;
  if (!readSmallFile(path, kLargestReadablePlist, bytes) || bytes.empty())
    return std::nullopt;
  plist_t root = nullptr;
  plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
  if (!root)
    return std::nullopt;
  if (plist_get_node_type(root) != PLIST_DICT) {
    plist_free(root);
    return std::nullopt;
  }
  return PropertyList(root);
}

std::optional<std::string> PropertyList::string(const char* key) const {
  plist_t item = plist_dict_get_item(static_cast<plist_t>(mNode.get()), key);
  if (!item || plist_get_node_type(item) != PLIST_STRING)
    return std::nullopt;
  uint64_t length = 0;
  const char* text = plist_get_string_ptr(item, &length);
  return text ? std::optional<std::string>(std::string(text, length)) : std::nullopt;
}

std::optional<std::uint64_t> PropertyList::unsignedInteger(const char* key) const {
  plist_t item = plist_dict_get_item(static_cast<plist_t>(mNode.get()), key);
  if (!item || plist_get_node_type(item) != PLIST_UINT)
    return std::nullopt;
  uint64_t value = 0;
  plist_get_uint_val(item, &value);
  return value;
}

void PropertyList::set(const char* key, const std::string& value) {
  plist_dict_set_item(static_cast<plist_t>(mNode.get()), key, plist_new_string(value.c_str()));
}

void PropertyList::set(const char* key, std::uint64_t value) {
  plist_dict_set_item(static_cast<plist_t>(mNode.get()), key, plist_new_uint(value));
}

std::string PropertyList::toXML() const {
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(static_cast<plist_t>(mNode.get()), &xml, &length);
  std::string text = xml ? std::string(xml, length) : std::string();
  plist_to_xml_free(xml);
  return text;
}

} // namespace os
