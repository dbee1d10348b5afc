#include "launchservices/CFStrings.h"

#include <climits>
#include <vector>

namespace coreservices {

std::optional<std::string> utf8String(CFStringRef string) {
  if (!string)
    return std::nullopt;
  CFIndex length = CFStringGetLength(string);
  std::vector<char> buffer(static_cast<std::size_t>(length) * 4 + 1);
  if (!CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(buffer.size()),
                          kCFStringEncodingUTF8))
    return std::nullopt;
  return std::string(buffer.data());
}

std::optional<std::string> filePath(CFURLRef url) {
  if (!url)
    return std::nullopt;
  std::vector<UInt8> buffer(PATH_MAX * 4);
  if (!CFURLGetFileSystemRepresentation(url, true, buffer.data(),
                                        static_cast<CFIndex>(buffer.size())))
    return std::nullopt;
  return std::string(reinterpret_cast<const char*>(buffer.data()));
}

CFURLRef fileURL(const std::string& path, bool isFolder) {
  return CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault,
                                                 reinterpret_cast<const UInt8*>(path.data()),
                                                 static_cast<CFIndex>(path.size()), isFolder);
}

} // namespace coreservices
