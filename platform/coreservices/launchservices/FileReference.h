// FSRefs handed out by this library: the reference holds a tag and an index into a per-process
// table of paths, which only grows.
#pragma once

#include <CoreServices/CarbonCore/Files.h>

#include <string>

namespace coreservices {

void makeFileReference(const std::string& path, FSRef* ref);

} // namespace coreservices
