// CFShow: debugging output on stderr, 7-bit clean.
#include "CFStringInternal.h"

#include <cstdio>

namespace {

// Characters below 128 as themselves, others as "\\u" and four lowercase hex digits; runs of
// ASCII are copied whole, since a captured message can be tens of megabytes.
void appendEscaped(std::string& bytes, const cf::StringStorage& text) {
  static const char hex[] = "0123456789abcdef";
  auto escape = [&bytes](UniChar unit) {
    const char sequence[6] = {
        '\\',           'u', hex[unit >> 12], hex[(unit >> 8) & 0xF], hex[(unit >> 4) & 0xF],
        hex[unit & 0xF]};
    bytes.append(sequence, sizeof sequence);
  };
  bytes.reserve(bytes.size() + text.length() + 1);
  if (!text.wide) {
    const std::string& narrow = text.narrow;
    size_t i = 0;
    while (i < narrow.size()) {
      size_t run = i;
      while (run < narrow.size() && static_cast<unsigned char>(narrow[run]) < 0x80) {
        ++run;
      }
      bytes.append(narrow, i, run - i);
      if (run < narrow.size()) {
        escape(static_cast<unsigned char>(narrow[run]));
        ++run;
      }
      i = run;
    }
    return;
  }
  for (char16_t unit : text.units) {
    if (unit < 0x80) {
      bytes.push_back(static_cast<char>(unit));
    } else {
      escape(unit);
    }
  }
}

} // namespace

void CFShow(CFTypeRef obj) {
  std::string bytes;
  if (obj == nullptr) {
    bytes = "(null)";
  } else if (CFGetTypeID(obj) == cf::kStringTypeID) {
    appendEscaped(bytes, static_cast<CFStringRef>(obj)->storage);
  } else if (CFStringRef description = CFCopyDescription(obj)) {
    appendEscaped(bytes, description->storage);
    CFRelease(description);
  }
  bool addNewline = bytes.empty() || bytes.back() != '\n';
  if (addNewline) {
    bytes.push_back('\n');
  }
  std::fwrite(bytes.data(), 1, bytes.size(), stderr);
  if (addNewline) {
    std::fflush(stderr);
  }
}
