// Shared helpers for the Apple Event tests: owned descriptors and byte strings written the way the
// flattened layout is documented.
#pragma once

#include <CoreServices/CoreServices.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace aetest {

using Bytes = std::vector<std::uint8_t>;

// A descriptor that disposes of itself.
struct Desc : AEDesc {
  Desc() { AEInitializeDesc(this); }
  ~Desc() { AEDisposeDesc(this); }
  Desc(const Desc&) = delete;
  Desc& operator=(const Desc&) = delete;
  bool isNull() const { return descriptorType == typeNull && dataHandle == nullptr; }
};

// "'dle2' 00000000 \"/\" 2F00": quoted four-character codes, double-quoted text, hex digits.
inline Bytes bytes(const std::string& layout) {
  Bytes out;
  for (std::size_t i = 0; i < layout.size();) {
    char c = layout[i];
    if (c == '\'' || c == '"') {
      std::size_t end = layout.find(c, i + 1);
      out.insert(out.end(), layout.begin() + long(i + 1), layout.begin() + long(end));
      i = end + 1;
    } else if (std::isxdigit(static_cast<unsigned char>(c))) {
      out.push_back(std::uint8_t(std::stoul(layout.substr(i, 2), nullptr, 16)));
      i += 2;
    } else {
      ++i;
    }
  }
  return out;
}

inline Bytes flatten(const AEDesc& d) {
  Bytes out(std::size_t(AESizeOfFlattenedDesc(&d)));
  Size actual = 0;
  if (AEFlattenDesc(&d, reinterpret_cast<Ptr>(out.data()), Size(out.size()), &actual) != noErr)
    out.clear();
  return out;
}

inline Bytes data(const AEDesc& d) {
  Bytes out(std::size_t(AEGetDescDataSize(&d)));
  AEGetDescData(&d, out.data(), Size(out.size()));
  return out;
}

template <class T>
Bytes raw(T v) {
  Bytes b(sizeof v);
  std::memcpy(b.data(), &v, sizeof v);
  return b;
}

inline Bytes text(const std::string& s) {
  return Bytes(s.begin(), s.end());
}

} // namespace aetest
