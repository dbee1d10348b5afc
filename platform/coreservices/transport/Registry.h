// The application registry: one entry per running application that takes Apple Events, kept as
// "<pid>.plist" in the runtime folder next to the application's listening socket
// "<pid>.socket". Entries of processes that are gone (or whose pid now names another process)
// are skipped and removed whenever the registry is read.
#pragma once

#include <MacTypes.h>
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace coreservices {

struct RegistryEntry {
  pid_t pid = 0;
  std::uint64_t startTime = 0; // clock ticks since boot, as /proc/<pid>/stat gives it
  OSType signature = 0;
  std::string name;       // the executable's file name
  std::string bundlePath; // empty for a program outside a bundle
  std::string socketPath;

  ProcessSerialNumber serialNumber() const;
};

// A process's serial number: its start time (never 0) in the high word, its pid in the low word,
// so the number is stable while it lives and never names a later process with the same pid.
ProcessSerialNumber serialNumberFor(pid_t pid, std::uint64_t startTime);

std::string entryPath(const std::string& folder, pid_t pid);
std::string socketPathFor(const std::string& folder, pid_t pid);

// Written atomically (a private temporary file renamed into place), mode 0600.
bool writeEntry(const std::string& folder, const RegistryEntry& entry);
void removeEntry(const std::string& folder, pid_t pid);

// Live entries in launch order (start time, then pid). Empty when the runtime folder is missing
// or not private.
std::vector<RegistryEntry> liveEntries();

std::optional<RegistryEntry> findLiveEntry(pid_t pid);
// The earliest launched live application with that signature.
std::optional<RegistryEntry> findLiveEntryBySignature(OSType signature);

} // namespace coreservices
