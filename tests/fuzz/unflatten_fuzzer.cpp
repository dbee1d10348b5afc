// Untrusted bytes into the bounded unflattener: it must refuse or succeed without reading past
// the input, and whatever it accepts must flatten to a form that reads back to itself (the
// first pass may normalise pad bytes and the order of attributes).
#include <CoreServices/CoreServices.h>

#include "AEPrivate.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A private copy of exactly `size` bytes, so any over-read lands outside it.
  std::vector<std::uint8_t> input(data, data + size);
  AEDesc desc;
  OSStatus status = AEUnflattenDescFromBuffer(input.data(), Size(input.size()), &desc);
  if (status != noErr) {
    if (desc.descriptorType != typeNull || desc.dataHandle != nullptr)
      std::abort();
    return 0;
  }
  std::vector<char> flat(std::size_t(AESizeOfFlattenedDesc(&desc)));
  Size actual = 0;
  if (AEFlattenDesc(&desc, flat.data(), Size(flat.size()), &actual) != noErr)
    std::abort();
  AEDesc again;
  if (AEUnflattenDescFromBuffer(flat.data(), actual, &again) != noErr)
    std::abort();
  std::vector<char> flat2(flat.size());
  if (AEFlattenDesc(&again, flat2.data(), Size(flat2.size()), &actual) != noErr || flat2 != flat)
    std::abort();
  AEDisposeDesc(&again);
  // Reading every item back must not trip over anything the unflattener let through.
  long count = 0;
  if (AECountItems(&desc, &count) == noErr)
    for (long i = 1; i <= count; ++i) {
      AEDesc item;
      if (AEGetNthDesc(&desc, i, typeSInt16, nullptr, &item) == noErr)
        AEDisposeDesc(&item);
    }
  AEDisposeDesc(&desc);
  return 0;
}
