// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// The application registry: one entry per running application that takes Apple Events, kept as
// "<pid>.plist" in the runtime folder next to the application's listening socket
// "<pid>.socket". Entries of processes that are gone (or whose pid now names another process)
// are skipped and removed whenever the registry is read.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace os {

struct RegistryEntry {
  pid_t pid = 0;
  std::uint64_t startTime = 0; // clock ticks since boot, as /proc/<pid>/stat gives it
  std::uint32_t signature = 0; // the bundle's four-character creator code
  std::string name;            // the executable's file name
  std::string bundlePath;      // empty for a program outside a bundle
  std::string socketPath;
};

std::string entryPath(const std::string& folder, pid_t pid);
std::string socketPathFor(const std::string& folder, pid_t pid);

// Written atomically (a private temporary file renamed into place), mode 0600. On failure the
// entry that was there stays as it was and `error`, when given, says why.
bool writeEntry(const std::string& folder, const RegistryEntry& entry,
                std::string* error = nullptr);
void removeEntry(const std::string& folder, pid_t pid);

// Live entries in launch order (start time, then pid). Empty when the runtime folder is missing
// or not private. Every exchange looks them up, several times: the reading is shared, not copied,
// and stays as it was for whoever holds it.
using LiveEntries = std::shared_ptr<const std::vector<RegistryEntry>>;
LiveEntries liveEntries();

std::optional<RegistryEntry> findLiveEntry(pid_t pid);
// The earliest launched live application with that signature.
std::optional<RegistryEntry> findLiveEntryBySignature(std::uint32_t signature);

} // namespace os
