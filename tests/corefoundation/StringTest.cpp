#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
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
      {"four-byte becomes a surrogate pair", "\xf0\x9f\x98\x80", {0xd83d, 0xde00}, true},
      {"byte order mark skipped", "\xef\xbb\xbfok", {'o', 'k'}, true},
      {"truncated sequence", "ab\xc3", {}, false},
      {"lone continuation byte", "\x80", {}, false},
      {"overlong slash", "\xc0\xaf", {}, false},
      {"encoded surrogate", "\xed\xa0\x80", {}, false},
      {"above U+10FFFF", "\xf4\x90\x80\x80", {}, false},
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

TEST(ConstantString, OneObjectPerTextThatReleaseCannotFree) {
  CFStringRef a = CFSTR("ThunderLevel");
  CFStringRef b = CFSTR("ThunderLevel");
  EXPECT_EQ(a, b);
  for (int i = 0; i < 10; ++i) {
    CFRelease(a);
  }
  EXPECT_EQ(utf8(a), "ThunderLevel");

  // Text at an address that held other text (a library loaded where another was) is its own.
  char place[] = "FirstText";
  CFStringRef first = __CFStringMakeConstantString(place);
  std::memcpy(place, "OtherText", sizeof place);
  CFStringRef other = __CFStringMakeConstantString(place);
  EXPECT_NE(first, other);
  EXPECT_EQ(utf8(first), "FirstText");
  EXPECT_EQ(utf8(other), "OtherText");
  EXPECT_EQ(other, CFSTR("OtherText"));
}
