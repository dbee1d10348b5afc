#include "log/QuellbarkLog.h"

#include "log/QuellbarkIdentity.h"

#include <CoreFoundation/CoreFoundation.h>
#include <cstdarg>
#include <cstring>

namespace {

enum : int { kDebugLevel = 10, kInfoLevel = 20, kErrorLevel = 40 };

// Out of the box only error lines appear.
constexpr int kDefaultThreshold = kErrorLevel;

// Allocation failures drop the line without releasing what was made before; a message that
// cannot be logged is not worth more code than that.
void log(int aLevel, const char* aFormat, va_list aArguments) {
  Boolean valid = false;
  int threshold = static_cast<int>(CFPreferencesGetAppIntegerValue(
      CFSTR("ThunderbirdLogLevel"), CFSTR(kQuellbarkBundleIdentifier), &valid));
  if (!valid)
    threshold = kDefaultThreshold;
  if (threshold > aLevel)
    return;

  CFStringRef format =
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(aFormat),
                              static_cast<CFIndex>(strlen(aFormat)), kCFStringEncodingASCII, false);
  if (!format)
    return;
  CFMutableStringRef line = CFStringCreateMutable(kCFAllocatorDefault, 0);
  if (!line)
    return;
  CFStringAppend(line, CFSTR("Quellbark Thunderbird Plug-In: "));
  CFMutableDictionaryRef options = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  if (!options)
    return;
  CFStringAppendFormatAndArguments(line, options, format, aArguments);
  CFRelease(options);
  CFRelease(format);
  CFShow(line);
  CFRelease(line);
}

} // namespace

void debug(const char* aFormat, ...) {
  va_list arguments;
  va_start(arguments, aFormat);
  log(kDebugLevel, aFormat, arguments);
  va_end(arguments);
}

void info(const char* aFormat, ...) {
  va_list arguments;
  va_start(arguments, aFormat);
  log(kInfoLevel, aFormat, arguments);
  va_end(arguments);
}

void error(const char* aFormat, ...) {
  va_list arguments;
  va_start(arguments, aFormat);
  log(kErrorLevel, aFormat, arguments);
  va_end(arguments);
}
