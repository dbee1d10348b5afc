#include "CFStringInternal.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string_view>
#include <unordered_map>

bool __CFString::equals(const cf::Object& other) const {
  const auto& that = static_cast<const __CFString&>(other).storage;
  if (storage.length() != that.length()) {
    return false;
  }
  if (!storage.wide && !that.wide) {
    return storage.narrow == that.narrow;
  }
  for (size_t i = 0; i < storage.length(); ++i) {
    if (storage.at(i) != that.at(i)) {
      return false;
    }
  }
  return true;
}

CFHashCode __CFString::hash() const {
  // FNV-1a over the UTF-16 units, so both storage forms of one text hash alike.
  CFHashCode h = 14695981039346656037UL;
  storage.forEachUnit(0, storage.length(), [&h](UniChar unit) {
    h = (h ^ (unit & 0xFF)) * 1099511628211UL;
    h = (h ^ (unit >> 8)) * 1099511628211UL;
  });
  return h;
}

CFStringRef __CFString::copyDescription() const {
  cf::StringStorage text;
  std::string prefix = cf::descriptionPrefix("CFString", this) + "{contents = \"";
  text.appendLatin1(prefix.data(), prefix.size());
  text.append(storage);
  text.appendLatin1("\"}", 2);
  return cf::newString(nullptr, std::move(text));
}

CFStringRef __CFString::copyFormattingDescription() const {
  return CFStringCreateCopy(nullptr, this);
}

namespace cf {

CFStringRef newString(CFAllocatorRef allocator, StringStorage&& storage) {
  auto* string = new __CFString(allocator, false, 0);
  string->storage = std::move(storage);
  return string;
}

CFStringRef makeString(std::string_view utf8) {
  StringStorage storage;
  if (!decodeBytes(reinterpret_cast<const UInt8*>(utf8.data()), utf8.size(), kCFStringEncodingUTF8,
                   false, storage)) {
    storage = StringStorage();
    storage.appendLatin1(utf8.data(), utf8.size());
  }
  return newString(nullptr, std::move(storage));
}

std::string toUTF8(CFStringRef string) {
  std::string out;
  if (string != nullptr) {
    encodeUnits(string->storage, 0, string->storage.length(), kCFStringEncodingUTF8, '?', false,
                &out);
  }
  return out;
}

} // namespace cf

namespace {

__CFString* mutableString(CFMutableStringRef string) {
  return string;
}

// Appends as much of addition as maxLength allows.
void appendBounded(__CFString* string, const cf::StringStorage& addition) {
  size_t count = addition.length();
  if (string->maxLength > 0) {
    size_t room = static_cast<size_t>(string->maxLength) -
                  std::min(string->storage.length(), static_cast<size_t>(string->maxLength));
    count = std::min(count, room);
  }
  string->storage.append(addition, 0, count);
}

// Looked up by the literal's text as it is: a constant string is asked for many times a message,
// and a key built for each lookup would be an allocation each time.
struct TextHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};
using ConstantStringTable =
    std::unordered_map<std::string, const __CFString*, TextHash, std::equal_to<>>;

ConstantStringTable& constantStrings() {
  // Never destroyed: constant strings live as long as the process.
  static auto* table = new ConstantStringTable();
  return *table;
}

} // namespace

CFStringRef __CFStringMakeConstantString(const char* cStr) {
  // Every use of CFSTR asks (a log line twice): each thread keeps the strings it asked for last
  // by the literal's address. The text is compared as well, since a library unloaded and another
  // loaded in its place may put a different literal at the same address.
  struct Recent {
    const char* address = nullptr;
    const std::string* text = nullptr; // the table's key: never freed
    CFStringRef string = nullptr;
  };
  thread_local std::array<Recent, 64> recent;
  Recent& slot = recent[(reinterpret_cast<std::uintptr_t>(cStr) >> 3) % recent.size()];
  if (slot.address == cStr && std::strcmp(slot.text->c_str(), cStr) == 0) {
    return slot.string;
  }
  static std::mutex lock;
  std::lock_guard<std::mutex> guard(lock);
  auto& table = constantStrings();
  std::string_view text(cStr);
  auto found = table.find(text);
  if (found == table.end()) {
    auto* string = new __CFString(cf::Object::Immortal{});
    size_t length = text.size();
    if (!cf::decodeBytes(reinterpret_cast<const UInt8*>(cStr), length, kCFStringEncodingUTF8, false,
                         string->storage)) {
      string->storage = cf::StringStorage();
      string->storage.appendLatin1(cStr, length);
    }
    found = table.emplace(text, string).first;
  }
  slot = {cStr, &found->first, found->second};
  return found->second;
}

CFTypeID CFStringGetTypeID(void) {
  return cf::kStringTypeID;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
  if (numBytes < 0 || (bytes == nullptr && numBytes > 0)) {
    return nullptr;
  }
  cf::StringStorage storage;
  if (!cf::decodeBytes(bytes, static_cast<size_t>(numBytes), encoding, isExternalRepresentation,
                       storage)) {
    return nullptr;
  }
  return cf::newString(alloc, std::move(storage));
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr,
                                      CFStringEncoding encoding) {
  if (cStr == nullptr) {
    return nullptr;
  }
  return CFStringCreateWithBytes(alloc, reinterpret_cast<const UInt8*>(cStr),
                                 static_cast<CFIndex>(std::strlen(cStr)), encoding, false);
}

CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString) {
  if (theString == nullptr) {
    return nullptr;
  }
  if (!theString->isMutable) {
    return static_cast<CFStringRef>(CFRetain(theString));
  }
  cf::StringStorage copy = theString->storage;
  return cf::newString(alloc, std::move(copy));
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                     CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  CFStringRef result =
      CFStringCreateWithFormatAndArguments(alloc, formatOptions, format, arguments);
  va_end(arguments);
  return result;
}

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc, CFDictionaryRef,
                                                 CFStringRef format, va_list arguments) {
  if (format == nullptr) {
    return nullptr;
  }
  cf::StringStorage text;
  cf::appendFormatted(text, format->storage, arguments);
  return cf::newString(alloc, std::move(text));
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength) {
  return new __CFString(alloc, true, maxLength < 0 ? 0 : maxLength);
}

CFIndex CFStringGetLength(CFStringRef theString) {
  return static_cast<CFIndex>(theString->storage.length());
}

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
  if (idx < 0 || static_cast<size_t>(idx) >= theString->storage.length()) {
    return 0;
  }
  return theString->storage.at(static_cast<size_t>(idx));
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer) {
  theString->storage.forEachUnit(static_cast<size_t>(range.location),
                                 static_cast<size_t>(range.length),
                                 [&buffer](UniChar unit) { *buffer++ = unit; });
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding) {
  if (buffer == nullptr || bufferSize <= 0) {
    return false;
  }
  std::string bytes;
  size_t length = theString->storage.length();
  if (cf::encodeUnits(theString->storage, 0, length, encoding, 0, false, &bytes) != length ||
      bytes.size() + 1 > static_cast<size_t>(bufferSize)) {
    buffer[0] = '\0';
    return false;
  }
  std::memcpy(buffer, bytes.data(), bytes.size());
  buffer[bytes.size()] = '\0';
  return true;
}

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                         CFIndex maxBufLen, CFIndex* usedBufLen) {
  std::string bytes;
  size_t converted = cf::encodeUnits(theString->storage, static_cast<size_t>(range.location),
                                     static_cast<size_t>(range.length), encoding, lossByte,
                                     isExternalRepresentation, &bytes);
  if (buffer != nullptr && bytes.size() > static_cast<size_t>(maxBufLen)) {
    // Keep only the units whose bytes fit.
    converted = 0;
    std::string fitting;
    for (CFIndex i = 0; i < range.length; ++i) {
      std::string one;
      if (cf::encodeUnits(theString->storage, static_cast<size_t>(range.location + i), 1, encoding,
                          lossByte, isExternalRepresentation && i == 0, &one) != 1 ||
          fitting.size() + one.size() > static_cast<size_t>(maxBufLen)) {
        break;
      }
      fitting += one;
      ++converted;
    }
    bytes.swap(fitting);
  }
  if (buffer != nullptr && !bytes.empty()) {
    std::memcpy(buffer, bytes.data(), bytes.size());
  }
  if (usedBufLen != nullptr) {
    *usedBufLen = static_cast<CFIndex>(bytes.size());
  }
  return static_cast<CFIndex>(converted);
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  switch (encoding) {
  case kCFStringEncodingUTF8:
    return length * 3;
  case kCFStringEncodingUTF16:
  case kCFStringEncodingUTF16BE:
  case kCFStringEncodingUTF16LE:
    return length * 2;
  case kCFStringEncodingUTF32:
  case kCFStringEncodingUTF32BE:
  case kCFStringEncodingUTF32LE:
    return length * 4;
  default:
    return length;
  }
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
  if (appendedString != nullptr) {
    if (appendedString == theString) {
      cf::StringStorage copy = appendedString->storage;
      appendBounded(mutableString(theString), copy);
    } else {
      appendBounded(mutableString(theString), appendedString->storage);
    }
  }
}

void CFStringAppendCString(CFMutableStringRef theString, const char* cStr,
                           CFStringEncoding encoding) {
  cf::StringStorage addition;
  if (cStr != nullptr && cf::decodeBytes(reinterpret_cast<const UInt8*>(cStr), std::strlen(cStr),
                                         encoding, false, addition)) {
    appendBounded(mutableString(theString), addition);
  }
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions,
                          CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  CFStringAppendFormatAndArguments(theString, formatOptions, format, arguments);
  va_end(arguments);
}

void CFStringAppendFormatAndArguments(CFMutableStringRef theString, CFDictionaryRef,
                                      CFStringRef format, va_list arguments) {
  if (format == nullptr) {
    return;
  }
  __CFString* string = mutableString(theString);
  if (string->maxLength == 0) {
    cf::appendFormatted(string->storage, format->storage, arguments);
    return;
  }
  cf::StringStorage text;
  cf::appendFormatted(text, format->storage, arguments);
  appendBounded(string, text);
}
