// Feeds arbitrary text to the descriptor-building language. Substitutions are refused up front
// (the harness cannot supply C arguments for them); everything else must either build a
// descriptor that flattens and unflattens to itself, or fail with a syntax or data error.
#include <CoreServices/CoreServices.h>

#include "AEPrivate.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string src(reinterpret_cast<const char*>(data), size);
  if (src.find('\0') != std::string::npos || src.find('@') != std::string::npos)
    return 0;
  AEDesc desc;
  AEBuildError err{};
  OSStatus status = AEBuildDesc(&desc, &err, src.c_str());
  if (status != noErr) {
    if (desc.descriptorType != typeNull || desc.dataHandle != nullptr)
      std::abort();
    if (status == errAEBuildSyntaxError && err.fErrorPos > size)
      std::abort();
    return 0;
  }
  std::vector<char> flat(std::size_t(AESizeOfFlattenedDesc(&desc)));
  Size actual = 0;
  if (AEFlattenDesc(&desc, flat.data(), Size(flat.size()), &actual) != noErr)
    std::abort();
  AEDesc back;
  if (AEUnflattenDescFromBuffer(flat.data(), actual, &back) != noErr)
    std::abort();
  std::vector<char> again(flat.size());
  if (AEFlattenDesc(&back, again.data(), Size(again.size()), &actual) != noErr || again != flat)
    std::abort();
  AEDisposeDesc(&back);
  AEDisposeDesc(&desc);
  return 0;
}
