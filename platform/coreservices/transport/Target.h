// Where an Apple Event goes, from its 'addr' attribute.
#pragma once

#include <CoreServices/AE/AEDataModel.h>

#include "transport/SerialNumber.h"

namespace coreservices {

struct Target {
  bool inThisProcess = false;
  os::RegistryEntry entry; // the live application, when not this process
};

// 'sign': the live application with that creator signature (the 4 bytes are the code's
// characters in order; when none matches, they are tried once more in reverse order, for
// callers that put a little-endian OSType there). 'kpid': that pid. 'psn ': that serial number,
// {0, kCurrentProcess} being this process. Results: noErr, procNotFound,
// errAEUnknownAddressType.
OSStatus resolveTarget(const AppleEvent* event, Target& target);

} // namespace coreservices
