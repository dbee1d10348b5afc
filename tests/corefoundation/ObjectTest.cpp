// Retain counts in a dictionary with CF callbacks, and number conversions.
#include "CFTestSupport.h"

#include <gtest/gtest.h>

TEST(Dictionary, TypeCallbacksRetainKeysAndValuesAndCompareByValue) {
  CFMutableDictionaryRef dict = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFStringRef key = CFStringCreateWithCString(nullptr, "Key", kCFStringEncodingASCII);
  CFDataRef value = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("v"), 1);
  CFDictionarySetValue(dict, key, value);
  EXPECT_EQ(CFGetRetainCount(value), 2);
  EXPECT_EQ(CFDictionaryGetCount(dict), 1);
  // Another object with the same text finds the value.
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("Key")), value);
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("key")), nullptr);

  CFDataRef replacement = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("w"), 1);
  CFDictionarySetValue(dict, CFSTR("Key"), replacement);
  EXPECT_EQ(CFGetRetainCount(value), 1);
  EXPECT_EQ(CFDictionaryGetCount(dict), 1);
  CFDictionaryAddValue(dict, CFSTR("Key"), value); // Add never replaces
  EXPECT_EQ(CFDictionaryGetValue(dict, key), replacement);

  CFDictionaryRemoveValue(dict, key);
  EXPECT_EQ(CFDictionaryGetCount(dict), 0);
  EXPECT_EQ(CFGetRetainCount(replacement), 1);
  CFRelease(dict);
  CFRelease(key);
  CFRelease(value);
  CFRelease(replacement);
}

TEST(Number, ConversionsReportLoss) {
  struct Case {
    const char* what;
    CFNumberType from;
    double fromValue;
    CFNumberType to;
    double expected;
    bool exact;
  };
  const Case cases[] = {
      {"int to double", kCFNumberSInt32Type, 42, kCFNumberFloat64Type, 42, true},
      {"double to int truncates", kCFNumberFloat64Type, 3.7, kCFNumberSInt32Type, 3, false},
      {"integral double to int", kCFNumberFloat64Type, -8, kCFNumberSInt32Type, -8, true},
      {"big to SInt16 clamps", kCFNumberSInt64Type, 100000, kCFNumberSInt16Type, 32767, false},
      {"negative to SInt8 clamps", kCFNumberSInt32Type, -1000, kCFNumberSInt8Type, -128, false},
      {"int to CFIndex", kCFNumberIntType, -12, kCFNumberCFIndexType, -12, true},
  };
  for (const Case& c : cases) {
    SInt64 i = static_cast<SInt64>(c.fromValue);
    SInt32 i32 = static_cast<SInt32>(c.fromValue);
    double d = c.fromValue;
    const void* source = c.from == kCFNumberFloat64Type  ? static_cast<const void*>(&d)
                         : c.from == kCFNumberSInt64Type ? static_cast<const void*>(&i)
                                                         : static_cast<const void*>(&i32);
    CFNumberRef n = CFNumberCreate(nullptr, c.from, source);
    // Zero-filled wide storage read back at the target's own width (little-endian).
    union {
      double f64;
      SInt64 i64;
      SInt32 i32;
      SInt16 i16;
      SInt8 i8;
    } out{};
    bool exact = CFNumberGetValue(n, c.to, &out);
    double got = c.to == kCFNumberFloat64Type   ? out.f64
                 : c.to == kCFNumberSInt16Type  ? out.i16
                 : c.to == kCFNumberSInt8Type   ? out.i8
                 : c.to == kCFNumberCFIndexType ? static_cast<double>(out.i64)
                                                : out.i32;
    EXPECT_EQ(got, c.expected) << c.what;
    EXPECT_EQ(exact, c.exact) << c.what;
    CFRelease(n);
  }
}
