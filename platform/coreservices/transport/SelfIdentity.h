// Who this process is to the registry: its executable, its bundle and the bundle's signature.
#pragma once

#include <unix/Registry.h>

namespace coreservices {

// The executable comes from /proc/self/exe; when that does not lie in a bundle (a symbolic link
// into X.app/Contents/MacOS resolves elsewhere), argv[0] is tried as well.
os::RegistryEntry identifyThisProcess();

} // namespace coreservices
