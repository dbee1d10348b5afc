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

// The integer directive this system's messages use, and text around directives left as written.
TEST(Format, IntegerDirectiveAndLiteralText) {
  check({
      {"%d", format("%d %i", -42, 7), "-42 7"},
      {"a 16-bit value widened", format("score: %d", static_cast<int>(SInt16(-1712))),
       "score: -1712"},
      {"flags and width", format("[%5d|%-5d|%05d|%+d]", 1, 2, 3, 4), "[    1|2    |00003|+4]"},
      {"%s Latin-1 bytes", format("%s", "caf\xe9"), "caf\u00e9"},
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
