#include "LogLevelPreference.h"

#include "AppIdentity.h"

#include <CoreFoundation/CoreFoundation.h>

namespace quellbark {

namespace {

// Owns one Core Foundation object.
struct Released {
  CFTypeRef object;
  ~Released() {
    if (object != nullptr) {
      CFRelease(object);
    }
  }
};

CFStringRef makeString(const char* text) {
  return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

} // namespace

bool writeLogLevel(long level) {
  const Released domain{makeString(kBundleIdentifier)};
  const Released key{makeString(kLogLevelKey)};
  const Released value{CFNumberCreate(kCFAllocatorDefault, kCFNumberLongType, &level)};
  const auto domainRef = static_cast<CFStringRef>(domain.object);
  CFPreferencesSetAppValue(static_cast<CFStringRef>(key.object), value.object, domainRef);
  return CFPreferencesAppSynchronize(domainRef) != 0;
}

std::optional<long> readLogLevel() {
  const Released domain{makeString(kBundleIdentifier)};
  const Released key{makeString(kLogLevelKey)};
  Boolean valid = 0;
  const CFIndex level = CFPreferencesGetAppIntegerValue(
      static_cast<CFStringRef>(key.object), static_cast<CFStringRef>(domain.object), &valid);
  return valid != 0 ? std::optional<long>(static_cast<long>(level)) : std::nullopt;
}

} // namespace quellbark
