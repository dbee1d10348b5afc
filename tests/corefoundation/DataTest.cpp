#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <vector>

using cftest::hexPointer;
using cftest::take;

namespace {

std::vector<UInt8> counting(size_t n) {
  std::vector<UInt8> bytes(n);
  for (size_t i = 0; i < n; ++i) {
    bytes[i] = static_cast<UInt8>(i);
  }
  return bytes;
}

std::string prefixOf(CFTypeRef data) {
  return "<CFData " + hexPointer(data) + " [" + hexPointer(CFGetAllocator(data)) + "]>";
}

} // namespace

TEST(DataDescription, ImmutableDataAtTheTruncationBoundaries) {
  const struct {
    size_t length;
    const char* tail;
  } cases[] = {
      {0, "{length = 0, capacity = 0, bytes = 0x}"},
      {24,
       "{length = 24, capacity = 24, bytes = 0x000102030405060708090a0b0c0d0e0f1011121314151617}"},
      {25, "{length = 25, capacity = 25, bytes = 0x000102030405060708090a0b0c0d0e0f ... "
           "1112131415161718}"},
  };
  for (const auto& c : cases) {
    std::vector<UInt8> bytes = counting(c.length);
    CFDataRef data =
        CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(c.length));
    std::string expected = prefixOf(data) + c.tail;
    EXPECT_EQ(take(CFCopyDescription(data)), expected) << "length " << c.length;
    EXPECT_EQ(cftest::format("%@", data), expected) << "length " << c.length;
    EXPECT_EQ(CFGetAllocator(data), kCFAllocatorSystemDefault);
    CFRelease(data);
  }
  EXPECT_EQ(cftest::format("%@", nullptr), "(null)");
}
