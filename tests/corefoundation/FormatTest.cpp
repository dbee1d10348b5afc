#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

using cftest::format;

namespace {

struct Case {
  const char* what;
  std::string actual;
  std::string expected;
};

void check(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    EXPECT_EQ(c.actual, c.expected) << c.what;
  }
}

} // namespace

// One row per directive family: flags, widths, length modifiers, positions and stars.
TEST(Format, PrintfDirectives) {
  const UniChar wide[] = {'h', 0xe9, 0};
  check({
      {"%d", format("%d %i", -42, 7), "-42 7"},
      {"flags and width", format("[%5d|%-5d|%05d|%+d|% d]", 1, 2, 3, 4, 5),
       "[    1|2    |00003|+4| 5]"},
      {"precision", format("%.4d", 7), "0007"},
      {"hex and octal", format("%x %X %#x %o", 255, 255, 255, 8), "ff FF 0xff 10"},
      {"unsigned", format("%u", UINT_MAX), "4294967295"},
      {"long long", format("%lld", LLONG_MIN), "-9223372036854775808"},
      {"quad", format("%qd", static_cast<long long>(-5000000000)), "-5000000000"},
      {"size_t", format("%zu", static_cast<size_t>(123456789012)), "123456789012"},
      {"short and char", format("%hd %hhd", 70000, 300), "4464 44"},
      {"D and U are long", format("%D %U", LONG_MIN, ULONG_MAX),
       "-9223372036854775808 18446744073709551615"},
      {"floating", format("%.2f [%10.3f] %e %g", 3.14159, -2.5, 12345.678, 1e20),
       "3.14 [    -2.500] 1.234568e+04 1e+20"},
      {"%Lf", format("%.1Lf", 2.25L), "2.2"},
      {"%c above ASCII is Latin-1", format("%c%c", 'A', 0xe9), "A\u00e9"},
      {"%s Latin-1 bytes", format("%s", "caf\xe9"), "caf\u00e9"},
      {"%s precision and width", format("%.2s[%5s][%-5s]", "abc", "abc", "abc"),
       "ab[  abc][abc  ]"},
      {"NULL strings",
       format("%s %S", static_cast<const char*>(nullptr), static_cast<const UniChar*>(nullptr)),
       "(null) (null)"},
      {"%S and %C", format("%S %C", wide, 0x263a), "h\u00e9 \u263a"},
      {"%P",
       format("%P", reinterpret_cast<const unsigned char*>("\x03"
                                                           "abcdef")),
       "abc"},
      {"%p", format("%p [%12p]", static_cast<void*>(nullptr), reinterpret_cast<void*>(0xff)),
       "0x0 [        0xff]"},
      {"positional", format("%2$s=%1$.1f %1$.1f", 2.5, "x"), "x=2.5 2.5"},
      {"stars", format("[%*d][%*d] %.*f|%s", 5, 42, -5, 42, 2, 3.14159, "z"),
       "[   42][42   ] 3.14|z"},
      {"literal text", format("\xc3\xa9nsThing::Method() 100%%"), "\u00e9nsThing::Method() 100%"},
      {"dangling percent", format("50%"), "50"},
  });
}

TEST(Format, ObjectDirective) {
  SInt32 seven = 7;
  double half = 0.5;
  CFNumberRef n = CFNumberCreate(nullptr, kCFNumberSInt32Type, &seven);
  CFNumberRef f = CFNumberCreate(nullptr, kCFNumberFloat64Type, &half);
  CFStringRef latin = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>("\xe9"), 1,
                                              kCFStringEncodingISOLatin1, false);
  check({
      {"string inserts its characters", format("[%@]", CFSTR("text")), "[text]"},
      {"non-ASCII string", format("%@!", latin), "\u00e9!"},
      {"NULL", format("%@", nullptr), "(null)"},
      {"integer number", format("%@", n), "7"},
      {"float number", format("%@", f), "0.5"},
      {"boolean has no short form", format("%@", kCFBooleanTrue).substr(0, 11), "<CFBoolean "},
  });
  CFRelease(n);
  CFRelease(f);
  CFRelease(latin);
}
