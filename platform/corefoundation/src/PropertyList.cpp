#include "PropertyList.h"

#include "CFRuntime.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cf {
namespace {

// Nesting deeper than this is not a preferences file anyone wrote by hand or by program.
constexpr int kMaxDepth = 512;

CFTypeRef fromNode(plist_t node, int depth) {
  if (node == nullptr || depth > kMaxDepth) {
    return nullptr;
  }
  switch (plist_get_node_type(node)) {
  case PLIST_BOOLEAN: {
    uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value ? kCFBooleanTrue : kCFBooleanFalse;
  }
  case PLIST_UINT: {
    // libplist keeps every integer in 64 bits; negative ones in two's complement.
    uint64_t bits = 0;
    plist_get_uint_val(node, &bits);
    auto value = static_cast<SInt64>(bits);
    return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
  }
  case PLIST_REAL: {
    double value = 0;
    plist_get_real_val(node, &value);
    return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value);
  }
  case PLIST_STRING: {
    // A NUL inside a string ends it, as it ends a key. (libplist's copying getter aborts the
    // process on such a string, so the text is taken in place.)
    const char* text = plist_get_string_ptr(node, nullptr);
    return makeString(text != nullptr ? text : "");
  }
  case PLIST_DATA: {
    uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(node, &length);
    return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes),
                        bytes != nullptr ? static_cast<CFIndex>(length) : 0);
  }
  case PLIST_DATE: {
    int32_t seconds = 0;
    int32_t micros = 0;
    plist_get_date_val(node, &seconds, &micros);
    return CFDateCreate(nullptr, seconds + micros / 1e6);
  }
  case PLIST_UID: {
    uint64_t value = 0;
    plist_get_uid_val(node, &value);
    auto signedValue = static_cast<SInt64>(value);
    return CFNumberCreate(nullptr, kCFNumberSInt64Type, &signedValue);
  }
  case PLIST_ARRAY: {
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    uint32_t count = plist_array_get_size(node);
    for (uint32_t i = 0; i < count; ++i) {
      if (CFTypeRef item = fromNode(plist_array_get_item(node, i), depth + 1)) {
        CFArrayAppendValue(array, item);
        CFRelease(item);
      }
    }
    return array;
  }
  case PLIST_DICT: {
    CFMutableDictionaryRef dict = CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    while (iter != nullptr) {
      char* key = nullptr;
      plist_t value = nullptr;
      plist_dict_next_item(node, iter, &key, &value);
      if (key == nullptr) {
        break;
      }
      CFStringRef cfKey = makeString(key);
      std::free(key);
      if (CFTypeRef cfValue = fromNode(value, depth + 1)) {
        CFDictionarySetValue(dict, cfKey, cfValue);
        CFRelease(cfValue);
      }
      CFRelease(cfKey);
    }
    std::free(iter);
    return dict;
  }
  default:
    return nullptr;
  }
}

plist_t toNode(CFTypeRef object, int depth);

struct DictionaryWriter {
  plist_t dict;
  bool ok;
  int depth;
};

void writeEntry(const void* key, const void* value, void* context) {
  auto* writer = static_cast<DictionaryWriter*>(context);
  if (!writer->ok) {
    return;
  }
  if (CFGetTypeID(key) != CFStringGetTypeID()) {
    writer->ok = false;
    return;
  }
  plist_t node = toNode(value, writer->depth + 1);
  if (node == nullptr) {
    writer->ok = false;
    return;
  }
  plist_dict_set_item(writer->dict, toUTF8(static_cast<CFStringRef>(key)).c_str(), node);
}

plist_t toNode(CFTypeRef object, int depth) {
  if (object == nullptr || depth > kMaxDepth) {
    return nullptr;
  }
  CFTypeID type = CFGetTypeID(object);
  if (type == CFStringGetTypeID()) {
    return plist_new_string(toUTF8(static_cast<CFStringRef>(object)).c_str());
  }
  if (type == CFBooleanGetTypeID()) {
    return plist_new_bool(CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? 1 : 0);
  }
  if (type == CFNumberGetTypeID()) {
    auto number = static_cast<CFNumberRef>(object);
    if (CFNumberIsFloatType(number)) {
      double value = 0;
      CFNumberGetValue(number, kCFNumberFloat64Type, &value);
      return plist_new_real(value);
    }
    SInt64 value = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    return plist_new_uint(static_cast<uint64_t>(value));
  }
  if (type == CFDataGetTypeID()) {
    auto data = static_cast<CFDataRef>(object);
    return plist_new_data(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                          static_cast<uint64_t>(CFDataGetLength(data)));
  }
  if (type == CFDateGetTypeID()) {
    double at = CFDateGetAbsoluteTime(static_cast<CFDateRef>(object));
    auto seconds = static_cast<int32_t>(at);
    return plist_new_date(seconds, static_cast<int32_t>((at - seconds) * 1e6));
  }
  if (type == CFArrayGetTypeID()) {
    auto array = static_cast<CFArrayRef>(object);
    plist_t node = plist_new_array();
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      plist_t item = toNode(CFArrayGetValueAtIndex(array, i), depth + 1);
      if (item == nullptr) {
        plist_free(node);
        return nullptr;
      }
      plist_array_append_item(node, item);
    }
    return node;
  }
  if (type == CFDictionaryGetTypeID()) {
    DictionaryWriter writer{plist_new_dict(), true, depth};
    CFDictionaryApplyFunction(static_cast<CFDictionaryRef>(object), writeEntry, &writer);
    if (!writer.ok) {
      plist_free(writer.dict);
      return nullptr;
    }
    return writer.dict;
  }
  return nullptr;
}

} // namespace

CFPropertyListRef propertyListFromBytes(const char* bytes, size_t size) {
  if (bytes == nullptr || size == 0 || size > UINT32_MAX) {
    return nullptr;
  }
  plist_t root = nullptr;
  plist_from_memory(bytes, static_cast<uint32_t>(size), &root);
  // A binary list can hold a key with a NUL inside, and libplist's key getter aborts the process
  // on one. The XML form ends such a key at the NUL, so a binary list is read through that form
  // (which keeps dates to the second, as a saved file does).
  if (root != nullptr && plist_is_binary(bytes, static_cast<uint32_t>(size))) {
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root, &xml, &length);
    plist_free(root);
    root = nullptr;
    if (xml != nullptr) {
      plist_from_xml(xml, length, &root);
      plist_to_xml_free(xml);
    }
  }
  if (root == nullptr) {
    return nullptr;
  }
  CFPropertyListRef object = fromNode(root, 0);
  plist_free(root);
  return object;
}

bool propertyListToXML(CFPropertyListRef object, std::string& xml) {
  plist_t root = toNode(object, 0);
  if (root == nullptr) {
    return false;
  }
  char* text = nullptr;
  uint32_t length = 0;
  plist_to_xml(root, &text, &length);
  plist_free(root);
  if (text == nullptr) {
    return false;
  }
  xml.assign(text, length);
  plist_to_xml_free(text);
  return true;
}

bool readSmallFile(const std::string& path, size_t maxSize, std::string& bytes, struct stat* info) {
  // O_NONBLOCK: a FIFO planted at the path must not hang the reader.
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    return false;
  }
  struct stat st {};
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || static_cast<size_t>(st.st_size) > maxSize) {
    close(fd);
    return false;
  }
  bytes.resize(static_cast<size_t>(st.st_size));
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = read(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      break;
    }
    done += static_cast<size_t>(n);
  }
  close(fd);
  bytes.resize(done);
  if (info != nullptr) {
    *info = st;
  }
  return true;
}

} // namespace cf
