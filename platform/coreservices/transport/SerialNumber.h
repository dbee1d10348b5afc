// A process's serial number: its start time (never 0) in the high word, its pid in the low word,
// so the number is stable while it lives and never names a later process with the same pid.
#pragma once

#include <MacTypes.h>
#include <unix/Registry.h>

#include <cstdint>
#include <sys/types.h>

namespace coreservices {

ProcessSerialNumber serialNumberFor(pid_t pid, std::uint64_t startTime);

inline ProcessSerialNumber serialNumberOf(const os::RegistryEntry& entry) {
  return serialNumberFor(entry.pid, entry.startTime);
}

} // namespace coreservices
