// The CFString object, shared by the string, formatting, URL and preferences sources.
#pragma once

#include "CFRuntime.h"
#include "StringStorage.h"

struct __CFString final : cf::Object {
  __CFString(CFAllocatorRef allocator, bool mutableString, CFIndex maximumLength)
      : Object(cf::kStringTypeID, allocator), isMutable(mutableString), maxLength(maximumLength) {}
  explicit __CFString(Immortal) : Object(cf::kStringTypeID, Immortal{}) {}

  bool equals(const cf::Object& other) const override;
  CFHashCode hash() const override;
  CFStringRef copyDescription() const override;
  CFStringRef copyFormattingDescription() const override;

  cf::StringStorage storage;
  bool isMutable = false;
  CFIndex maxLength = 0; // 0: unbounded
};

namespace cf {

// A new immutable string that takes over the given characters.
CFStringRef newString(CFAllocatorRef allocator, StringStorage&& storage);

// Appends what "%@" shows for an object: a string's characters, another object's description,
// "(null)" for NULL.
void appendObjectText(StringStorage& out, CFTypeRef object);

// CF's formatting engine: printf directives plus "%@".
void appendFormatted(StringStorage& out, const StringStorage& format, va_list arguments);

} // namespace cf
