// Conversions between Core Foundation strings and URLs and the UTF-8 paths used inside.
#pragma once

#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>

#include <optional>
#include <string>

namespace coreservices {

std::optional<std::string> utf8String(CFStringRef string);
std::optional<std::string> filePath(CFURLRef url);
// A retained file URL; isFolder makes it end in '/'.
CFURLRef fileURL(const std::string& path, bool isFolder);

} // namespace coreservices
