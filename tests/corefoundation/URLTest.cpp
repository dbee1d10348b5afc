#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <string.h>

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
      {"/Applications/Quux.app", true, "file:///Applications/Quux.app/", "/Applications/Quux.app"},
      {"/", true, "file:///", "/"},
      {"/tmp/a b", false, "file:///tmp/a%20b", "/tmp/a b"},
      {"/x/\xc3\xbc", false, "file:///x/%C3%BC", "/x/\xc3\xbc"},
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
