// File URLs ("file:///...") made from POSIX paths, percent-escaped byte by byte from the path's
// UTF-8 form. No other kind of URL is made here.
#include "CFStringInternal.h"

#include <cstring>
#include <string>
#include <unistd.h>

namespace {

bool isAlpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
int hexValue(char c) {
  if (isDigit(c)) {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

// Characters that stand for themselves in a file URL's path.
bool keptInPath(unsigned char c) {
  return isAlpha(static_cast<char>(c)) || isDigit(static_cast<char>(c)) ||
         std::strchr("-._~!$&'()*+,;=:@/", c) != nullptr;
}

std::string escapePath(const std::string& bytes) {
  static const char hex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(bytes.size());
  for (unsigned char c : bytes) {
    if (c != 0 && keptInPath(c)) {
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back('%');
      out.push_back(hex[c >> 4]);
      out.push_back(hex[c & 0xF]);
    }
  }
  return out;
}

std::string unescape(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 &&
        hexValue(text[i + 2]) >= 0) {
      out.push_back(static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2])));
      i += 2;
    } else {
      out.push_back(text[i]);
    }
  }
  return out;
}

std::string stripTrailingSlash(std::string path) {
  if (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

} // namespace

struct __CFURL final : cf::Object {
  __CFURL(CFAllocatorRef allocator, const std::string& escapedPath)
      : Object(cf::kURLTypeID, allocator), string(cf::makeString("file://" + escapedPath)),
        path(escapedPath) {}
  ~__CFURL() override { CFRelease(string); }

  bool equals(const cf::Object& other) const override {
    return CFEqual(string, static_cast<const __CFURL&>(other).string);
  }
  CFHashCode hash() const override { return CFHash(string); }
  CFStringRef copyDescription() const override {
    return static_cast<CFStringRef>(CFRetain(string));
  }
  CFStringRef copyFormattingDescription() const override { return copyDescription(); }

  CFStringRef string;
  std::string path; // escaped, as in the string
};

namespace {

CFURLRef fileURLFromBytes(CFAllocatorRef allocator, std::string path, bool isDirectory) {
  if (path.empty()) {
    return nullptr;
  }
  if (path[0] != '/') {
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) == nullptr) {
      return nullptr;
    }
    std::string prefix = cwd;
    if (prefix.back() != '/') {
      prefix.push_back('/');
    }
    path = prefix + path;
  }
  path = stripTrailingSlash(path);
  if (isDirectory && path.back() != '/') {
    path.push_back('/');
  }
  return new __CFURL(allocator, escapePath(path));
}

} // namespace

CFTypeID CFURLGetTypeID(void) {
  return cf::kURLTypeID;
}

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                       CFURLPathStyle pathStyle, Boolean isDirectory) {
  if (filePath == nullptr || pathStyle != kCFURLPOSIXPathStyle) {
    return nullptr;
  }
  return fileURLFromBytes(allocator, cf::toUTF8(filePath), isDirectory);
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                 CFIndex bufLen, Boolean isDirectory) {
  if (buffer == nullptr || bufLen <= 0) {
    return nullptr;
  }
  std::string path(reinterpret_cast<const char*>(buffer), static_cast<size_t>(bufLen));
  path = path.substr(0, path.find('\0'));
  return fileURLFromBytes(allocator, path, isDirectory);
}

CFStringRef CFURLGetString(CFURLRef anURL) {
  return anURL->string;
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle) {
  if (pathStyle != kCFURLPOSIXPathStyle) {
    return nullptr;
  }
  std::string bytes = stripTrailingSlash(unescape(anURL->path));
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                 static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false);
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean, UInt8* buffer, CFIndex maxBufLen) {
  if (buffer == nullptr) {
    return false;
  }
  std::string bytes = stripTrailingSlash(unescape(url->path));
  if (bytes.empty() || bytes.find('\0') != std::string::npos ||
      static_cast<CFIndex>(bytes.size()) + 1 > maxBufLen) {
    return false;
  }
  std::memcpy(buffer, bytes.c_str(), bytes.size() + 1);
  return true;
}

Boolean CFURLHasDirectoryPath(CFURLRef anURL) {
  return !anURL->path.empty() && anURL->path.back() == '/';
}
