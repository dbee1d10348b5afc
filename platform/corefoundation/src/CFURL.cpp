// URLs as RFC 3986 strings. File URLs made from POSIX paths are absolute ("file:///..."),
// percent-escaped byte by byte from the path's UTF-8 form.
#include "CFStringInternal.h"

#include <cstring>
#include <optional>
#include <string>
#include <unistd.h>

namespace {

struct Parts {
  std::string scheme; // without ':'; empty for a relative reference
  bool hasAuthority = false;
  std::string authority;
  std::string path;
  std::optional<std::string> query;
  std::optional<std::string> fragment;

  std::string text() const {
    std::string out;
    if (!scheme.empty()) {
      out += scheme + ":";
    }
    if (hasAuthority) {
      out += "//" + authority;
    }
    out += path;
    if (query) {
      out += "?" + *query;
    }
    if (fragment) {
      out += "#" + *fragment;
    }
    return out;
  }
};

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

Parts split(const std::string& text) {
  Parts parts;
  size_t i = 0;
  size_t colon = text.find(':');
  if (colon != std::string::npos && colon > 0 && isAlpha(text[0])) {
    bool schemeChars = true;
    for (size_t k = 1; k < colon && schemeChars; ++k) {
      char c = text[k];
      schemeChars = isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
    }
    if (schemeChars && text.find_first_of("/?#") > colon) {
      parts.scheme = text.substr(0, colon);
      i = colon + 1;
    }
  }
  if (text.compare(i, 2, "//") == 0) {
    parts.hasAuthority = true;
    size_t end = text.find_first_of("/?#", i + 2);
    end = end == std::string::npos ? text.size() : end;
    parts.authority = text.substr(i + 2, end - i - 2);
    i = end;
  }
  size_t pathEnd = text.find_first_of("?#", i);
  pathEnd = pathEnd == std::string::npos ? text.size() : pathEnd;
  parts.path = text.substr(i, pathEnd - i);
  i = pathEnd;
  if (i < text.size() && text[i] == '?') {
    size_t end = text.find('#', i);
    end = end == std::string::npos ? text.size() : end;
    parts.query = text.substr(i + 1, end - i - 1);
    i = end;
  }
  if (i < text.size() && text[i] == '#') {
    parts.fragment = text.substr(i + 1);
  }
  return parts;
}

std::string removeDotSegments(std::string input) {
  std::string output;
  while (!input.empty()) {
    if (input.compare(0, 3, "../") == 0) {
      input.erase(0, 3);
    } else if (input.compare(0, 2, "./") == 0) {
      input.erase(0, 2);
    } else if (input.compare(0, 3, "/./") == 0) {
      input.erase(0, 2);
    } else if (input == "/.") {
      input = "/";
    } else if (input.compare(0, 4, "/../") == 0 || input == "/..") {
      input = input == "/.." ? "/" : input.substr(3);
      size_t cut = output.rfind('/');
      output.erase(cut == std::string::npos ? 0 : cut);
    } else if (input == "." || input == "..") {
      input.clear();
    } else {
      size_t next = input.find('/', 1);
      next = next == std::string::npos ? input.size() : next;
      output += input.substr(0, next);
      input.erase(0, next);
    }
  }
  return output;
}

Parts resolve(const Parts& reference, const Parts& base) {
  if (!reference.scheme.empty()) {
    Parts target = reference;
    target.path = removeDotSegments(reference.path);
    return target;
  }
  Parts target;
  target.scheme = base.scheme;
  if (reference.hasAuthority) {
    target.hasAuthority = true;
    target.authority = reference.authority;
    target.path = removeDotSegments(reference.path);
    target.query = reference.query;
  } else {
    target.hasAuthority = base.hasAuthority;
    target.authority = base.authority;
    if (reference.path.empty()) {
      target.path = base.path;
      target.query = reference.query ? reference.query : base.query;
    } else {
      if (reference.path[0] == '/') {
        target.path = removeDotSegments(reference.path);
      } else {
        std::string merged;
        if (base.hasAuthority && base.path.empty()) {
          merged = "/" + reference.path;
        } else {
          size_t slash = base.path.rfind('/');
          merged =
              (slash == std::string::npos ? "" : base.path.substr(0, slash + 1)) + reference.path;
        }
        target.path = removeDotSegments(merged);
      }
      target.query = reference.query;
    }
  }
  target.fragment = reference.fragment;
  return target;
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

// A URL string may hold only ASCII graphic characters, and '%' only before two hex digits.
bool isWellFormed(const std::string& text) {
  for (size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (c <= 0x20 || c >= 0x7F || std::strchr("\"<>\\^`{|}", c) != nullptr) {
      return false;
    }
    if (c == '%' &&
        (i + 2 >= text.size() || hexValue(text[i + 1]) < 0 || hexValue(text[i + 2]) < 0)) {
      return false;
    }
  }
  return true;
}

std::string stripTrailingSlash(std::string path) {
  if (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

} // namespace

struct __CFURL final : cf::Object {
  __CFURL(CFAllocatorRef allocator, const std::string& text, CFURLRef baseURL)
      : Object(cf::kURLTypeID, allocator), string(cf::makeString(text)),
        base(static_cast<CFURLRef>(CFRetain(baseURL))) {
    Parts own = split(text);
    parts = base != nullptr ? resolve(own, base->parts) : own;
  }
  ~__CFURL() override {
    CFRelease(string);
    CFRelease(base);
  }

  bool equals(const cf::Object& other) const override {
    const auto& that = static_cast<const __CFURL&>(other);
    return CFEqual(string, that.string) && CFEqual(base, that.base);
  }
  CFHashCode hash() const override { return CFHash(string); }
  CFStringRef copyDescription() const override {
    if (base == nullptr) {
      return static_cast<CFStringRef>(CFRetain(string));
    }
    CFStringRef baseText = base->copyDescription();
    CFStringRef text =
        CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ -- %@"), string, baseText);
    CFRelease(baseText);
    return text;
  }
  CFStringRef copyFormattingDescription() const override { return copyDescription(); }

  bool isFile() const { return parts.scheme == "file"; }

  CFStringRef string;
  CFURLRef base;
  Parts parts; // the absolute form
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
  return new __CFURL(allocator, "file://" + escapePath(path), nullptr);
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

CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString, CFURLRef baseURL) {
  if (URLString == nullptr) {
    return nullptr;
  }
  std::string text;
  size_t length = URLString->storage.length();
  if (cf::encodeUnits(URLString->storage, 0, length, kCFStringEncodingASCII, 0, false, &text) !=
          length ||
      !isWellFormed(text)) {
    return nullptr;
  }
  Parts parts = split(text);
  if (parts.scheme.empty() && baseURL == nullptr) {
    // A relative reference with nothing to resolve it against stays as it is.
    return new __CFURL(allocator, text, nullptr);
  }
  return new __CFURL(allocator, text, parts.scheme.empty() ? baseURL : nullptr);
}

CFStringRef CFURLGetString(CFURLRef anURL) {
  return anURL->string;
}

CFURLRef CFURLGetBaseURL(CFURLRef anURL) {
  return anURL->base;
}

CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL) {
  if (relativeURL->base == nullptr) {
    return static_cast<CFURLRef>(CFRetain(relativeURL));
  }
  return new __CFURL(relativeURL->allocator(), relativeURL->parts.text(), nullptr);
}

CFStringRef CFURLCopyScheme(CFURLRef anURL) {
  return anURL->parts.scheme.empty() ? nullptr : cf::makeString(anURL->parts.scheme);
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle) {
  if (pathStyle != kCFURLPOSIXPathStyle) {
    return nullptr;
  }
  std::string bytes = stripTrailingSlash(unescape(anURL->parts.path));
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                 static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false);
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean, UInt8* buffer, CFIndex maxBufLen) {
  if (!url->isFile() || buffer == nullptr) {
    return false;
  }
  std::string bytes = stripTrailingSlash(unescape(url->parts.path));
  if (bytes.empty() || bytes.find('\0') != std::string::npos ||
      static_cast<CFIndex>(bytes.size()) + 1 > maxBufLen) {
    return false;
  }
  std::memcpy(buffer, bytes.c_str(), bytes.size() + 1);
  return true;
}

Boolean CFURLHasDirectoryPath(CFURLRef anURL) {
  const std::string& path = anURL->parts.path;
  return !path.empty() && path.back() == '/';
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef url) {
  std::string path = stripTrailingSlash(unescape(url->parts.path));
  if (path == "/") {
    return cf::makeString(path);
  }
  size_t slash = path.rfind('/');
  return cf::makeString(slash == std::string::npos ? path : path.substr(slash + 1));
}

CFStringRef CFURLCopyPathExtension(CFURLRef url) {
  CFStringRef last = CFURLCopyLastPathComponent(url);
  std::string name = cf::toUTF8(last);
  CFRelease(last);
  size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == name.size()) {
    return nullptr;
  }
  return cf::makeString(name.substr(dot + 1));
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url,
                                               CFStringRef pathComponent, Boolean isDirectory) {
  Parts parts = url->parts;
  if (parts.path.empty() || parts.path.back() != '/') {
    parts.path.push_back('/');
  }
  parts.path += escapePath(cf::toUTF8(pathComponent));
  if (isDirectory && parts.path.back() != '/') {
    parts.path.push_back('/');
  }
  parts.query.reset();
  parts.fragment.reset();
  return new __CFURL(allocator, parts.text(), nullptr);
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url) {
  Parts parts = url->parts;
  std::string path = stripTrailingSlash(parts.path);
  size_t slash = path.rfind('/');
  parts.path = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  parts.query.reset();
  parts.fragment.reset();
  return new __CFURL(allocator, parts.text(), nullptr);
}
