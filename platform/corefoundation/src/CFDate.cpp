#include "CFRuntime.h"

#include <cstdio>
#include <ctime>

const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;

struct __CFDate final : cf::Object {
  __CFDate(CFAllocatorRef allocator, CFAbsoluteTime at)
      : Object(cf::kDateTypeID, allocator), time(at) {}
  bool equals(const cf::Object& other) const override {
    return time == static_cast<const __CFDate&>(other).time;
  }
  CFHashCode hash() const override { return static_cast<CFHashCode>(static_cast<SInt64>(time)); }
  CFStringRef copyDescription() const override {
    char text[64];
    std::snprintf(text, sizeof text, "{time = %.6f}", time);
    return cf::makeString(cf::descriptionPrefix("CFDate", this) + text);
  }
  CFAbsoluteTime time;
};

CFTypeID CFDateGetTypeID(void) {
  return cf::kDateTypeID;
}

CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at) {
  return new __CFDate(allocator, at);
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate) {
  return theDate->time;
}
