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
      {3, "{length = 3, capacity = 3, bytes = 0x000102}"},
      {24,
       "{length = 24, capacity = 24, bytes = 0x000102030405060708090a0b0c0d0e0f1011121314151617}"},
      {25, "{length = 25, capacity = 25, bytes = 0x000102030405060708090a0b0c0d0e0f ... "
           "1112131415161718}"},
      {300, "{length = 300, capacity = 300, bytes = 0x000102030405060708090a0b0c0d0e0f ... "
            "2425262728292a2b}"},
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

TEST(DataCapacity, GrowableCapacityFollowsPowerOfTwoSchedule) {
  // {length, capacity, grown one byte at a time or set in one step}; a length that is itself a
  // power of two above 16 set in one step still doubles: 32 needs 64.
  const struct {
    size_t n;
    CFIndex capacity;
    bool oneByOne;
  } cases[] = {{0, 16, true},   {1, 16, true},   {16, 16, true},   {17, 32, true},
               {32, 32, true},  {33, 64, true},  {100, 128, true}, {129, 256, true},
               {16, 16, false}, {20, 32, false}, {32, 64, false},  {1000, 1024, false}};
  for (const auto& c : cases) {
    CFMutableDataRef data = CFDataCreateMutable(kCFAllocatorDefault, 0);
    for (size_t i = 0; c.oneByOne && i < c.n; ++i) {
      UInt8 byte = static_cast<UInt8>(i);
      CFDataAppendBytes(data, &byte, 1);
    }
    if (!c.oneByOne)
      CFDataSetLength(data, static_cast<CFIndex>(c.n));
    std::string description = take(CFCopyDescription(data));
    EXPECT_NE(description.find("{length = " + std::to_string(c.n) +
                               ", capacity = " + std::to_string(c.capacity) + ","),
              std::string::npos)
        << c.n << ": " << description;
    CFRelease(data);
  }
}
