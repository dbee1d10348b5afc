// Helpers shared by the Core Foundation tests.
#pragma once

#include "TempDir.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <string>

namespace cftest {

// The string's characters as UTF-8 (NULL -> "<NULL>").
inline std::string utf8(CFStringRef string) {
  if (string == nullptr) {
    return "<NULL>";
  }
  CFIndex length = CFStringGetLength(string);
  std::string out(
      static_cast<size_t>(CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8)) + 1,
      '\0');
  CFIndex used = 0;
  CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false,
                   reinterpret_cast<UInt8*>(out.data()), static_cast<CFIndex>(out.size()), &used);
  out.resize(static_cast<size_t>(used));
  return out;
}

// Takes ownership of a created string and returns its UTF-8 text.
inline std::string take(CFStringRef string) {
  std::string text = utf8(string);
  if (string != nullptr) {
    CFRelease(string);
  }
  return text;
}

using testsupport::TempDir;

} // namespace cftest
