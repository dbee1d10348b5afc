#include "PropertyList.h"

#include "CFRuntime.h"

#include <unix/PropertyList.h>

#include <cstdint>
#include <string_view>
#include <utility>

namespace cf {
namespace {

using Kind = os::PlistValue::Kind;

CFTypeRef fromValue(const os::PlistValue& value) {
  switch (value.kind) {
  case Kind::boolean:
    return value.boolean ? kCFBooleanTrue : kCFBooleanFalse;
  case Kind::integer: {
    auto number = static_cast<SInt64>(value.integer);
    return CFNumberCreate(nullptr, kCFNumberSInt64Type, &number);
  }
  case Kind::real:
    return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value.real);
  case Kind::date:
    return CFDateCreate(nullptr, value.real);
  case Kind::string:
    return makeString(value.bytes.c_str());
  case Kind::data:
    return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(value.bytes.data()),
                        static_cast<CFIndex>(value.bytes.size()));
  case Kind::array: {
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (const auto& item : value.items) {
      CFTypeRef object = fromValue(item);
      CFArrayAppendValue(array, object);
      CFRelease(object);
    }
    return array;
  }
  case Kind::dictionary: {
    CFMutableDictionaryRef dict = CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (std::size_t i = 0; i < value.keys.size(); ++i) {
      CFStringRef cfKey = makeString(value.keys[i].c_str());
      CFTypeRef object = fromValue(value.items[i]);
      CFDictionarySetValue(dict, cfKey, object);
      CFRelease(object);
      CFRelease(cfKey);
    }
    return dict;
  }
  }
  return nullptr;
}

bool toValue(CFTypeRef object, int depth, os::PlistValue& out);

struct DictionaryWriter {
  os::PlistValue* dict;
  bool ok;
  int depth;
};

void writeEntry(const void* key, const void* value, void* context) {
  auto* writer = static_cast<DictionaryWriter*>(context);
  if (!writer->ok) {
    return;
  }
  os::PlistValue item;
  if (CFGetTypeID(key) != CFStringGetTypeID() || !toValue(value, writer->depth + 1, item)) {
    writer->ok = false;
    return;
  }
  writer->dict->set(toUTF8(static_cast<CFStringRef>(key)), std::move(item));
}

bool toValue(CFTypeRef object, int depth, os::PlistValue& out) {
  if (object == nullptr || depth > os::kMaxPlistDepth) {
    return false;
  }
  CFTypeID type = CFGetTypeID(object);
  if (type == CFStringGetTypeID()) {
    out = os::PlistValue::of(Kind::string);
    out.bytes = toUTF8(static_cast<CFStringRef>(object));
    return true;
  }
  if (type == CFBooleanGetTypeID()) {
    out = os::PlistValue::of(Kind::boolean);
    out.boolean = CFBooleanGetValue(static_cast<CFBooleanRef>(object));
    return true;
  }
  if (type == CFNumberGetTypeID()) {
    auto number = static_cast<CFNumberRef>(object);
    if (CFNumberIsFloatType(number)) {
      out = os::PlistValue::of(Kind::real);
      CFNumberGetValue(number, kCFNumberFloat64Type, &out.real);
      return true;
    }
    SInt64 value = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    out = os::PlistValue::of(Kind::integer);
    out.integer = static_cast<std::uint64_t>(value);
    return true;
  }
  if (type == CFDataGetTypeID()) {
    auto data = static_cast<CFDataRef>(object);
    out = os::PlistValue::of(Kind::data);
    out.bytes.assign(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                     static_cast<std::size_t>(CFDataGetLength(data)));
    return true;
  }
  if (type == CFDateGetTypeID()) {
    out = os::PlistValue::of(Kind::date);
    out.real = CFDateGetAbsoluteTime(static_cast<CFDateRef>(object));
    return true;
  }
  if (type == CFArrayGetTypeID()) {
    auto array = static_cast<CFArrayRef>(object);
    out = os::PlistValue::of(Kind::array);
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      if (!toValue(CFArrayGetValueAtIndex(array, i), depth + 1, out.items.emplace_back())) {
        return false;
      }
    }
    return true;
  }
  if (type == CFDictionaryGetTypeID()) {
    out = os::PlistValue::of(Kind::dictionary);
    DictionaryWriter writer{&out, true, depth};
    CFDictionaryApplyFunction(static_cast<CFDictionaryRef>(object), writeEntry, &writer);
    return writer.ok;
  }
  return false;
}

} // namespace

CFPropertyListRef propertyListFromBytes(const char* bytes, size_t size) {
  if (bytes == nullptr || size == 0) {
    return nullptr;
  }
  auto root = os::parsePropertyList(std::string_view(bytes, size));
  return root ? fromValue(*root) : nullptr;
}

bool propertyListToXML(CFPropertyListRef object, std::string& xml) {
  os::PlistValue root;
  if (!toValue(object, 0, root)) {
    return false;
  }
  auto text = os::propertyListXML(root);
  if (!text) {
    return false;
  }
  xml = std::move(*text);
  return true;
}

} // namespace cf
