// Bytes as lowercase hex, as the scripted companion records them and tests compare them.
#pragma once

#include <string>
#include <vector>

namespace testsupport {

inline std::string hexOf(const std::vector<unsigned char>& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned char b : bytes) {
    hex += digits[b >> 4];
    hex += digits[b & 15];
  }
  return hex;
}

} // namespace testsupport
