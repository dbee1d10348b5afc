#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

using cftest::format;
using cftest::take;

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

TEST(Format, IntegerDirectives) {
  check({
      {"%d", format("%d", -42), "-42"},
      {"%i", format("%i", 7), "7"},
      {"width", format("[%5d]", 42), "[   42]"},
      {"left", format("[%-5d]", 42), "[42   ]"},
      {"zero pad", format("%05d", 42), "00042"},
      {"plus", format("%+d", 42), "+42"},
      {"space", format("% d", 42), " 42"},
      {"precision", format("%.4d", 7), "0007"},
      {"hex", format("%x %X %#x", 255, 255, 255), "ff FF 0xff"},
      {"octal", format("%o", 8), "10"},
      {"unsigned", format("%u", UINT_MAX), "4294967295"},
      {"long", format("%ld", LONG_MAX), "9223372036854775807"},
      {"long long", format("%lld", LLONG_MIN), "-9223372036854775808"},
      {"quad", format("%qd", static_cast<long long>(-5000000000)), "-5000000000"},
      {"size_t", format("%zu", static_cast<size_t>(123456789012)), "123456789012"},
      {"short", format("%hd", 70000), "4464"},
      {"char-sized", format("%hhd", 300), "44"},
      {"D is long", format("%D", LONG_MIN), "-9223372036854775808"},
      {"U is unsigned long", format("%U", ULONG_MAX), "18446744073709551615"},
      {"16-bit score widened", format("score: %d", static_cast<int>(static_cast<int16_t>(-1))),
       "score: -1"},
  });
}

TEST(Format, FloatingPointDirectives) {
  check({
      {"%f", format("%f", 3.14159), "3.141590"},
      {"%.2f", format("%.2f", 3.14159), "3.14"},
      {"%10.3f", format("[%10.3f]", -2.5), "[    -2.500]"},
      {"%e", format("%e", 12345.678), "1.234568e+04"},
      {"%E", format("%E", 0.5), "5.000000E-01"},
      {"%g", format("%g %g", 0.0001, 1e20), "0.0001 1e+20"},
      {"%Lf", format("%.1Lf", 2.25L), "2.2"},
  });
}

TEST(Format, CharacterAndStringDirectives) {
  const UniChar wide[] = {'h', 0xe9, 0};
  check({
      {"%c", format("%c", 'A'), "A"},
      {"%c above ASCII is Latin-1", format("%c", 0xe9), "\u00e9"},
      {"%s", format("<%s>", "abc"), "<abc>"},
      {"%s Latin-1 bytes", format("%s", "caf\xe9"), "caf\u00e9"},
      {"%.2s", format("%.2s", "abc"), "ab"},
      {"%5s", format("[%5s]", "abc"), "[  abc]"},
      {"%-5s", format("[%-5s]", "abc"), "[abc  ]"},
      {"%s NULL", format("%s", static_cast<const char*>(nullptr)), "(null)"},
      {"%S", format("%S", wide), "h\u00e9"},
      {"%S NULL", format("%S", static_cast<const UniChar*>(nullptr)), "(null)"},
      {"%C", format("%C", 0x263a), "\u263a"},
      {"%P",
       format("%P", reinterpret_cast<const unsigned char*>("\x03"
                                                           "abcdef")),
       "abc"},
      {"%%", format("100%%"), "100%"},
  });
}

TEST(Format, PointerDirective) {
  check({
      {"NULL", format("%p", static_cast<void*>(nullptr)), "0x0"},
      {"value", format("%p", reinterpret_cast<void*>(0x1234abcd)), "0x1234abcd"},
      {"width", format("[%12p]", reinterpret_cast<void*>(0xff)), "[        0xff]"},
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

TEST(Format, ArgumentOrderAndStars) {
  check({
      {"positional", format("%2$d %1$d", 1, 2), "2 1"},
      {"positional reuse", format("%1$d-%1$d", 9), "9-9"},
      {"positional types", format("%2$s=%1$.1f", 2.5, "x"), "x=2.5"},
      {"star width", format("[%*d]", 5, 42), "[   42]"},
      {"negative star width left-justifies", format("[%*d]", -5, 42), "[42   ]"},
      {"star precision", format("%.*f", 2, 3.14159), "3.14"},
      {"mixed after star", format("%*d|%s", 3, 1, "z"), "  1|z"},
  });
}

TEST(Format, LiteralText) {
  check({
      {"no directives", format("nsThing::Method()"), "nsThing::Method()"},
      {"non-ASCII literal", format("\xc3\xa9%d", 1), "\u00e91"},
      {"dangling percent", format("50%"), "50"},
  });
}

TEST(Format, AppendingKeepsWhatIsThereAndAcceptsOptions) {
  CFMutableStringRef line = CFStringCreateMutable(kCFAllocatorDefault, 0);
  CFStringAppend(line, CFSTR("Prefix: "));
  CFMutableDictionaryRef options = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFStringAppendFormat(line, options, CFSTR("score: %d"), 73);
  EXPECT_EQ(cftest::utf8(line), "Prefix: score: 73");
  EXPECT_EQ(take(CFStringCreateWithFormat(nullptr, options,
                                          CFSTR("Mac OS X reported error %d when trying."), -50)),
            "Mac OS X reported error -50 when trying.");
  CFRelease(options);
  CFRelease(line);
}

TEST(Format, LargeLatin1StringThroughObjectDirective) {
  std::string bytes(4 << 20, 'x');
  bytes[100] = static_cast<char>(0xe9);
  CFStringRef big = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                            static_cast<CFIndex>(bytes.size()),
                                            kCFStringEncodingISOLatin1, false);
  CFMutableStringRef line = CFStringCreateMutable(nullptr, 0);
  CFStringAppend(line, CFSTR("P: "));
  CFStringAppendFormat(line, nullptr, CFSTR("%@"), big);
  ASSERT_EQ(CFStringGetLength(line), static_cast<CFIndex>(bytes.size()) + 3);
  EXPECT_EQ(CFStringGetCharacterAtIndex(line, 103), 0xe9);
  CFRelease(line);
  CFRelease(big);
}
