// CFShow: debugging output on stderr, 7-bit clean.
#include "CFStringInternal.h"

#include <cstdio>

void CFShow(CFTypeRef obj) {
  std::string bytes;
  auto emit = [&bytes](const cf::StringStorage& text) {
    bytes.reserve(text.length() + 1);
    text.forEachUnit(0, text.length(), [&bytes](UniChar unit) {
      if (unit < 0x80) {
        bytes.push_back(static_cast<char>(unit));
      } else {
        char escape[7];
        std::snprintf(escape, sizeof escape, "\\u%04x", unit);
        bytes.append(escape, 6);
      }
    });
  };
  if (obj == nullptr) {
    bytes = "(null)";
  } else if (CFGetTypeID(obj) == cf::kStringTypeID) {
    emit(static_cast<CFStringRef>(obj)->storage);
  } else if (CFStringRef description = CFCopyDescription(obj)) {
    emit(description->storage);
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

void CFShowStr(CFStringRef str) {
  if (str == nullptr) {
    std::fputs("(null)\n", stdout);
    return;
  }
  std::printf("Length %ld\nIsEightBit %d\nHasLengthByte 0\nHasNullByte 1\nInlineContents 0\n"
              "Allocator %s\nMutable %d\nContents %s\n",
              static_cast<long>(str->storage.length()), str->storage.wide ? 0 : 1,
              cf::pointerText(str->allocator()).c_str(), str->isMutable ? 1 : 0,
              cf::toUTF8(str).c_str());
}
