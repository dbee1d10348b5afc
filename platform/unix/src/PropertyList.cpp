// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/PropertyList.h"

#include "unix/AtomicFile.h"

#include <plist/plist.h>

#include <cstdlib>
#include <memory>

namespace os {

namespace {

constexpr std::size_t kLargestReadablePlist = 4 * 1024 * 1024;

using Kind = PlistValue::Kind;

struct FreeNode {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using Node = std::unique_ptr<void, FreeNode>;

std::string takeText(char* text) {
  std::string owned = text ? text : "";
  std::free(text);
  return owned;
}

// Types with no value of their own here (null, an invalid node) and values nested too deep are
// nothing; a container leaves them out.
std::optional<PlistValue> fromNode(plist_t node, int depth) {
  if (!node || depth > kMaxPlistDepth)
    return std::nullopt;
  switch (plist_get_node_type(node)) {
  case PLIST_BOOLEAN: {
    uint8_t value = 0;
    plist_get_bool_val(node, &value);
    PlistValue result = PlistValue::of(Kind::boolean);
    result.boolean = value != 0;
    return result;
  }
  case PLIST_UINT:
  case PLIST_UID: {
    uint64_t value = 0;
    if (plist_get_node_type(node) == PLIST_UINT)
      plist_get_uint_val(node, &value);
    else
      plist_get_uid_val(node, &value);
    PlistValue result = PlistValue::of(Kind::integer);
    result.integer = value;
    return result;
  }
  case PLIST_REAL: {
    PlistValue result = PlistValue::of(Kind::real);
    plist_get_real_val(node, &result.real);
    return result;
  }
  case PLIST_DATE: {
    int32_t seconds = 0;
    int32_t micros = 0;
    plist_get_date_val(node, &seconds, &micros);
    PlistValue result = PlistValue::of(Kind::date);
    result.real = seconds + micros / 1e6;
    return result;
  }
  case PLIST_STRING: {
    // A NUL inside a string ends it, as it ends a key. (libplist's copying getter aborts the
    // process on such a string, so the text is taken in place.)
    const char* text = plist_get_string_ptr(node, nullptr);
    PlistValue result = PlistValue::of(Kind::string);
    result.bytes = text ? text : "";
    return result;
  }
  case PLIST_KEY: {
    char* text = nullptr;
    plist_get_key_val(node, &text);
    PlistValue result = PlistValue::of(Kind::string);
    result.bytes = takeText(text);
    return result;
  }
  case PLIST_DATA: {
    uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(node, &length);
    PlistValue result = PlistValue::of(Kind::data);
    if (bytes)
      result.bytes.assign(bytes, length);
    return result;
  }
  case PLIST_ARRAY: {
    PlistValue result = PlistValue::of(Kind::array);
    uint32_t count = plist_array_get_size(node);
    for (uint32_t i = 0; i < count; ++i)
      if (auto item = fromNode(plist_array_get_item(node, i), depth + 1))
        result.items.push_back(std::move(*item));
    return result;
  }
  case PLIST_DICT: {
    PlistValue result = PlistValue::of(Kind::dictionary);
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    while (iter) {
      char* key = nullptr;
      plist_t value = nullptr;
      plist_dict_next_item(node, iter, &key, &value);
      if (!key)
        break;
      std::string name = takeText(key);
      if (auto converted = fromNode(value, depth + 1))
        result.set(std::move(name), std::move(*converted));
    }
    std::free(iter);
    return result;
  }
  default:
    return std::nullopt;
  }
}

plist_t toNode(const PlistValue& value) {
  switch (value.kind) {
  case Kind::boolean:
    return plist_new_bool(value.boolean ? 1 : 0);
  case Kind::integer:
    return plist_new_uint(value.integer);
  case Kind::real:
    return plist_new_real(value.real);
  case Kind::date: {
    auto seconds = static_cast<int32_t>(value.real);
    return plist_new_date(seconds, static_cast<int32_t>((value.real - seconds) * 1e6));
  }
  case Kind::string:
    return plist_new_string(value.bytes.c_str());
  case Kind::data:
    return plist_new_data(value.bytes.data(), value.bytes.size());
  case Kind::array: {
    plist_t node = plist_new_array();
    for (const auto& item : value.items)
      plist_array_append_item(node, toNode(item));
    return node;
  }
  case Kind::dictionary: {
    plist_t node = plist_new_dict();
    for (std::size_t i = 0; i < value.keys.size(); ++i)
      plist_dict_set_item(node, value.keys[i].c_str(), toNode(value.items[i]));
    return node;
  }
  }
  return nullptr;
}

} // namespace

const PlistValue* PlistValue::find(std::string_view key) const {
  for (std::size_t i = 0; i < keys.size(); ++i)
    if (keys[i] == key)
      return &items[i];
  return nullptr;
}

void PlistValue::set(std::string key, PlistValue value) {
  for (std::size_t i = 0; i < keys.size(); ++i)
    if (keys[i] == key) {
      items[i] = std::move(value);
      return;
    }
  keys.push_back(std::move(key));
  items.push_back(std::move(value));
}

std::optional<PlistValue> parsePropertyList(std::string_view bytes) {
  if (bytes.empty() || bytes.size() > UINT32_MAX)
    return std::nullopt;
  plist_t root = nullptr;
  plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
  // A binary list can hold a key with a NUL inside, and libplist's key getter aborts the process
  // on one. The XML form ends such a key at the NUL, so a binary list is read through that form
  // (which keeps dates to the second, as a saved file does).
  if (root && plist_is_binary(bytes.data(), static_cast<uint32_t>(bytes.size()))) {
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root, &xml, &length);
    plist_free(root);
    root = nullptr;
    if (xml) {
      plist_from_xml(xml, length, &root);
      plist_to_xml_free(xml);
    }
  }
  Node owned(root);
  return fromNode(root, 0);
}

std::optional<std::string> propertyListXML(const PlistValue& root) {
  Node node(toNode(root));
  if (!node)
    return std::nullopt;
  char* text = nullptr;
  uint32_t length = 0;
  plist_to_xml(static_cast<plist_t>(node.get()), &text, &length);
  if (!text)
    return std::nullopt;
  std::string xml(text, length);
  plist_to_xml_free(text);
  return xml;
}

std::optional<PropertyList> PropertyList::readDictionary(const std::string& path) {
  std::string bytes;
  if (!readSmallFile(path, kLargestReadablePlist, bytes))
    return std::nullopt;
  auto root = parsePropertyList(bytes);
  if (!root || root->kind != Kind::dictionary)
    return std::nullopt;
  PropertyList list;
  list.mRoot = std::move(*root);
  return list;
}

std::optional<std::string> PropertyList::string(const char* key) const {
  const PlistValue* value = mRoot.find(key);
  if (!value || value->kind != Kind::string)
    return std::nullopt;
  return value->bytes;
}

std::optional<std::uint64_t> PropertyList::unsignedInteger(const char* key) const {
  const PlistValue* value = mRoot.find(key);
  if (!value || value->kind != Kind::integer)
    return std::nullopt;
  return value->integer;
}

void PropertyList::set(const char* key, const std::string& value) {
  PlistValue item = PlistValue::of(Kind::string);
  item.bytes = value;
  mRoot.set(key, std::move(item));
}

void PropertyList::set(const char* key, std::uint64_t value) {
  PlistValue item = PlistValue::of(Kind::integer);
  item.integer = value;
  mRoot.set(key, std::move(item));
}

std::string PropertyList::toXML() const {
  return propertyListXML(mRoot).value_or("");
}

} // namespace os
