// Untrusted bytes as an entry of the application registry (any program of the user can write
// one): looking applications up must not crash, and an entry that does not name a live process
// (unreadable, incomplete, or naming a process that is gone) is removed, never returned.
#include "FuzzScratch.h"

#include <unix/ProcessTable.h>
#include <unix/Registry.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const fs::path& registryFolder() {
  static const auto* folder = new fs::path([] {
    setenv("XDG_RUNTIME_DIR", fuzzScratch().c_str(), 1);
    fs::path apps = fuzzScratch() / "AppleEvents";
    if (mkdir(apps.c_str(), 0700) != 0)
      std::abort();
    return apps;
  }());
  return *folder;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace os;
  // A pid that runs no process: the kernel's largest is far below it.
  constexpr pid_t kGone = 0x3FFFFFF0;
  fs::path entry = registryFolder() / (std::to_string(kGone) + ".plist");
  fs::path temporary = registryFolder() / ".entry-new";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  fs::rename(temporary, entry);

  LiveEntries live = liveEntries();
  for (const RegistryEntry& found : *live)
    if (!processIsAlive(found.pid, found.startTime))
      std::abort();
  // Only an entry that names a live process by its pid and start time may stay.
  if (findLiveEntry(kGone) || (live->empty() && fs::exists(entry)))
    std::abort();
  return 0;
}
