#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <string.h>
#include <unistd.h>

using cftest::take;
using cftest::utf8;

namespace {

CFURLRef fileURL(const char* path, bool isDirectory) {
  CFStringRef s = CFStringCreateWithCString(nullptr, path, kCFStringEncodingUTF8);
  CFURLRef url =
      CFURLCreateWithFileSystemPath(kCFAllocatorDefault, s, kCFURLPOSIXPathStyle, isDirectory);
  CFRelease(s);
  return url;
}

} // namespace

TEST(URL, FileSystemPathRoundTrips) {
  struct Case {
    const char* path;
    bool isDirectory;
    const char* url;
    const char* back;
  };
  const Case cases[] = {
      {"/Applications/Quux.app", false, "file:///Applications/Quux.app", "/Applications/Quux.app"},
      {"/Applications/Quux.app/", false, "file:///Applications/Quux.app", "/Applications/Quux.app"},
      {"/Applications/Quux.app", true, "file:///Applications/Quux.app/", "/Applications/Quux.app"},
      {"/", true, "file:///", "/"},
      {"/", false, "file:///", "/"},
      {"/tmp/a b", false, "file:///tmp/a%20b", "/tmp/a b"},
      {"/x/\xc3\xbc", false, "file:///x/%C3%BC", "/x/\xc3\xbc"},
      {"/p/100%", false, "file:///p/100%25", "/p/100%"},
      {"/a#b?c", false, "file:///a%23b%3Fc", "/a#b?c"},
      {"/keep/(these)+@:,;=", false, "file:///keep/(these)+@:,;=", "/keep/(these)+@:,;="},
  };
  for (const Case& c : cases) {
    CFURLRef url = fileURL(c.path, c.isDirectory);
    ASSERT_NE(url, nullptr) << c.path;
    EXPECT_EQ(utf8(CFURLGetString(url)), c.url) << c.path;
    EXPECT_EQ(take(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)), c.back) << c.path;
    char buffer[256];
    ASSERT_TRUE(CFURLGetFileSystemRepresentation(url, true, reinterpret_cast<UInt8*>(buffer),
                                                 sizeof buffer))
        << c.path;
    EXPECT_STREQ(buffer, c.back);
    EXPECT_EQ(CFURLHasDirectoryPath(url), c.isDirectory || std::string(c.path) == "/") << c.path;
    const CFIndex exact = static_cast<CFIndex>(strlen(c.back)) + 1;
    EXPECT_FALSE(
        CFURLGetFileSystemRepresentation(url, true, reinterpret_cast<UInt8*>(buffer), exact - 1))
        << "no room for the NUL: " << c.path;
    CFRelease(url);
  }
  EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, CFSTR("Disk:Folder"), kCFURLHFSPathStyle, false),
            nullptr)
      << "only the POSIX style is supported";
}

TEST(URL, RelativePathIsResolvedAgainstTheWorkingDirectory) {
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  CFURLRef url = fileURL("sub/file", false);
  std::string expected = std::string(cwd) + "/sub/file";
  EXPECT_EQ(take(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)), expected);
  CFRelease(url);
}

TEST(URL, StringsParseAndResolve) {
  CFURLRef file = CFURLCreateWithString(nullptr, CFSTR("file:///tmp/x%20y/"), nullptr);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(take(CFURLCopyFileSystemPath(file, kCFURLPOSIXPathStyle)), "/tmp/x y");
  EXPECT_EQ(take(CFURLCopyScheme(file)), "file");
  CFRelease(file);

  EXPECT_EQ(CFURLCreateWithString(nullptr, CFSTR("has space"), nullptr), nullptr);
  EXPECT_EQ(CFURLCreateWithString(nullptr, CFSTR("http://h/%zz"), nullptr), nullptr);

  CFURLRef base = CFURLCreateWithString(nullptr, CFSTR("http://host/a/b/c?q"), nullptr);
  const std::pair<const char*, const char*> relative[] = {
      {"../x", "http://host/a/x"}, {"?z", "http://host/a/b/c?z"}, {"//other/p", "http://other/p"}};
  for (const auto& [reference, expected] : relative) {
    CFStringRef text = CFStringCreateWithCString(nullptr, reference, kCFStringEncodingASCII);
    CFURLRef url = CFURLCreateWithString(nullptr, text, base);
    ASSERT_NE(url, nullptr) << reference;
    EXPECT_EQ(utf8(CFURLGetString(url)), reference);
    EXPECT_EQ(CFURLGetBaseURL(url), base);
    CFURLRef absolute = CFURLCopyAbsoluteURL(url);
    EXPECT_EQ(utf8(CFURLGetString(absolute)), expected) << reference;
    CFRelease(absolute);
    CFRelease(url);
    CFRelease(text);
  }
  CFRelease(base);
}

TEST(URL, PathComponentsEqualityAndDescription) {
  CFURLRef app = fileURL("/Applications/Internet/Quux Mail.app", true);
  EXPECT_EQ(take(CFURLCopyLastPathComponent(app)), "Quux Mail.app");
  EXPECT_EQ(take(CFURLCopyPathExtension(app)), "app");
  CFURLRef plist =
      CFURLCreateCopyAppendingPathComponent(nullptr, app, CFSTR("Contents/Info.plist"), false);
  EXPECT_EQ(utf8(CFURLGetString(plist)),
            "file:///Applications/Internet/Quux%20Mail.app/Contents/Info.plist");
  CFURLRef parent = CFURLCreateCopyDeletingLastPathComponent(nullptr, app);
  EXPECT_EQ(utf8(CFURLGetString(parent)), "file:///Applications/Internet/");
  CFURLRef same = fileURL("/Applications/Internet/Quux Mail.app/", true);
  CFURLRef file = fileURL("/Applications/Internet/Quux Mail.app", false);
  EXPECT_TRUE(CFEqual(app, same) && CFHash(app) == CFHash(same));
  EXPECT_FALSE(CFEqual(app, file));
  EXPECT_EQ(cftest::format("%@", file), "file:///Applications/Internet/Quux%20Mail.app");
  for (CFTypeRef u :
       {CFTypeRef(parent), CFTypeRef(plist), CFTypeRef(app), CFTypeRef(same), CFTypeRef(file)})
    CFRelease(u);
}
