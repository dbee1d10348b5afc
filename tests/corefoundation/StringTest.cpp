#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using cftest::utf8;

namespace {

CFStringRef fromBytes(const std::string& bytes, CFStringEncoding encoding) {
  return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                 static_cast<CFIndex>(bytes.size()), encoding, false);
}

std::vector<UniChar> unitsOf(CFStringRef s) {
  std::vector<UniChar> units(static_cast<size_t>(CFStringGetLength(s)));
  CFStringGetCharacters(s, CFRangeMake(0, CFStringGetLength(s)), units.data());
  return units;
}

} // namespace

TEST(StringCreation, AsciiAndLatin1MapEveryByteToTheSameCodePoint) {
  std::string all;
  for (int b = 1; b < 256; ++b) {
    all.push_back(static_cast<char>(b));
  }
  for (CFStringEncoding encoding : {kCFStringEncodingASCII, kCFStringEncodingISOLatin1}) {
    CFStringRef s = fromBytes(all, encoding);
    ASSERT_NE(s, nullptr) << std::hex << encoding;
    ASSERT_EQ(CFStringGetLength(s), 255);
    for (CFIndex i = 0; i < 255; ++i) {
      ASSERT_EQ(CFStringGetCharacterAtIndex(s, i), i + 1) << std::hex << encoding;
    }
    CFRelease(s);
  }
}

TEST(StringCreation, Latin1RoundTripsThroughGetCString) {
  std::string bytes = "Gr\xfc\xdf"
                      "e \xa9 2024\xff";
  CFStringRef s = fromBytes(bytes, kCFStringEncodingISOLatin1);
  char buffer[64];
  ASSERT_TRUE(CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingISOLatin1));
  EXPECT_EQ(std::string(buffer), bytes);
  ASSERT_TRUE(CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingUTF8));
  EXPECT_EQ(std::string(buffer), "Gr\u00fc\u00dfe \u00a9 2024\u00ff");
  EXPECT_FALSE(CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingASCII));
  EXPECT_FALSE(CFStringGetCString(s, buffer, 4, kCFStringEncodingISOLatin1)) << "no room for NUL";
  CFRelease(s);
}

TEST(StringCreation, Utf8DecodesOrRefuses) {
  struct Case {
    const char* name;
    std::string bytes;
    std::vector<UniChar> units; // empty with valid == false: NULL expected
    bool valid;
  };
  const Case cases[] = {
      {"ascii", "abc", {'a', 'b', 'c'}, true},
      {"two-byte", "caf\xc3\xa9", {'c', 'a', 'f', 0xe9}, true},
      {"three-byte", "\xe2\x82\xac", {0x20ac}, true},
      {"four-byte becomes a surrogate pair", "\xf0\x9f\x98\x80", {0xd83d, 0xde00}, true},
      {"byte order mark skipped", "\xef\xbb\xbfok", {'o', 'k'}, true},
      {"empty", "", {}, true},
      {"truncated sequence", "ab\xc3", {}, false},
      {"lone continuation byte", "\x80", {}, false},
      {"overlong slash", "\xc0\xaf", {}, false},
      {"overlong three-byte", "\xe0\x80\xaf", {}, false},
      {"encoded surrogate", "\xed\xa0\x80", {}, false},
      {"above U+10FFFF", "\xf4\x90\x80\x80", {}, false},
      {"invalid lead byte", "\xff", {}, false},
      {"Latin-1 text is not UTF-8", "caf\xe9", {}, false},
  };
  for (const Case& c : cases) {
    CFStringRef s = fromBytes(c.bytes, kCFStringEncodingUTF8);
    if (!c.valid) {
      EXPECT_EQ(s, nullptr) << c.name;
      if (s != nullptr) {
        CFRelease(s);
      }
      continue;
    }
    ASSERT_NE(s, nullptr) << c.name;
    EXPECT_EQ(unitsOf(s), c.units) << c.name;
    CFRelease(s);
  }
}

TEST(MutableString, AppendsItselfAndStopsAtItsBound) {
  CFMutableStringRef line = CFStringCreateMutable(kCFAllocatorDefault, 0);
  CFStringAppend(line, CFSTR("Prefix: "));
  CFStringRef latin = fromBytes("\xe9t\xe9 ", kCFStringEncodingISOLatin1);
  CFStringAppend(line, latin);
  CFStringAppendCString(line, "\xe2\x82\xac", kCFStringEncodingUTF8);
  CFStringAppend(line, line); // appending itself doubles it
  EXPECT_EQ(utf8(line), "Prefix: \u00e9t\u00e9 \u20acPrefix: \u00e9t\u00e9 \u20ac");
  CFMutableStringRef bounded = CFStringCreateMutable(nullptr, 5);
  CFStringAppend(bounded, CFSTR("abc"));
  CFStringAppend(bounded, CFSTR("defgh"));
  EXPECT_EQ(utf8(bounded), "abcde") << "the maximum length bounds appends";
  for (CFTypeRef s : {CFTypeRef(latin), CFTypeRef(line), CFTypeRef(bounded)})
    CFRelease(s);
}

TEST(ConstantString, OneObjectPerTextThatReleaseCannotFree) {
  CFStringRef a = CFSTR("ThunderLevel");
  CFStringRef b = CFSTR("ThunderLevel");
  EXPECT_EQ(a, b);
  for (int i = 0; i < 10; ++i) {
    CFRelease(a);
  }
  EXPECT_EQ(utf8(a), "ThunderLevel");
}
