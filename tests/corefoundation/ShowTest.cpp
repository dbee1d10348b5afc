#include "CFTestSupport.h"

#include <gtest/gtest.h>

namespace {

std::string shown(CFTypeRef object) {
  testing::internal::CaptureStderr();
  CFShow(object);
  return testing::internal::GetCapturedStderr();
}

CFStringRef fromUtf8(const char* text) {
  return CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
}

} // namespace

TEST(Show, StringsPrintSevenBitCleanWithOneTrailingNewline) {
  struct Case {
    const char* what;
    const char* text; // UTF-8
    const char* expected;
  };
  const Case cases[] = {
      {"ASCII", "Prefix: hello", "Prefix: hello\n"},
      {"ends in newline already", "line\n", "line\n"},
      {"empty", "", "\n"},
      {"Latin-1", "caf\xc3\xa9", "caf\\u00e9\n"},
      {"surrogate pair", "\xf0\x9f\x98\x80", "\\ud83d\\ude00\n"},
      {"escape then newline", "\xc3\xbf\n", "\\u00ff\n"},
  };
  for (const Case& c : cases) {
    CFStringRef s = fromUtf8(c.text);
    EXPECT_EQ(shown(s), c.expected) << c.what;
    CFRelease(s);
  }
}
