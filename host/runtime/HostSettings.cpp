#include "HostSettings.h"

#include <cstdlib>
#include <string_view>

namespace mailhost {

namespace {

// Carries the user's GLIBC_TUNABLES across the start ("=value", or empty when there was none).
constexpr const char* kTunablesBefore = "MAILHOST_GLIBC_TUNABLES_BEFORE";

// The host's policy for a long run:
// - a larger per-thread cache of freed small blocks: a message allocates and frees hundreds of
//   them, and the default 7 a size let most go back to the heap, to be merged and split again
//   (32 a size: about 3% fewer instructions a run);
// - cached only up to 256 bytes: the cache of every size above fills, one rare size at a time,
//   over tens of thousands of messages, and would keep hundreds of KiB per thread;
// - no fast bins: a small block freed beyond the cache is merged with its free neighbours at once
//   rather than held apart, where it kept the heaps spreading over a long run (the same CPU);
// - blocks of 128 KiB and more always mapped on their own: malloc otherwise raises that
//   threshold to the largest block freed so far, so a large message's buffers are carved from
//   the heaps, and raises the trimming threshold with it, so the heaps keep them afterwards.
std::string hostTunables(const char* users) {
  std::string tunables = users ? users : "";
  for (std::string_view setting : {"glibc.malloc.tcache_count=32", "glibc.malloc.tcache_max=256",
                                   "glibc.malloc.mxfast=0", "glibc.malloc.mmap_threshold=131072"}) {
    std::string_view name = setting.substr(0, setting.find('=') + 1);
    if (tunables.find(name) == std::string::npos)
      tunables += (tunables.empty() ? "" : ":") + std::string(setting);
  }
  return tunables;
}

} // namespace

// GLib's slice allocator keeps for the rest of a run the most memory one message ever needed (a
// message with hundreds of header fields leaves hundreds of KiB behind); plain malloc gives it
// back.
std::vector<std::string> hostSettings(const char* users) {
  return {"G_SLICE=always-malloc", "GLIBC_TUNABLES=" + hostTunables(users),
          std::string(kTunablesBefore) + "=" + (users ? "=" + std::string(users) : "")};
}

bool putHostSettings() {
  if (std::getenv(kTunablesBefore) || std::getenv("G_SLICE"))
    return false;
  for (const std::string& entry : hostSettings(std::getenv("GLIBC_TUNABLES"))) {
    std::size_t equals = entry.find('=');
    if (::setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1) != 0)
      return false;
  }
  return true;
}

// The host's settings are its own: bogofilter under them spends half as much time again.
bool takeBackUsersEnvironment() {
  const char* found = std::getenv(kTunablesBefore);
  if (!found)
    return false;
  std::string before = found;
  ::unsetenv(kTunablesBefore);
  ::unsetenv("G_SLICE");
  if (before.empty())
    ::unsetenv("GLIBC_TUNABLES");
  else
    ::setenv("GLIBC_TUNABLES", before.c_str() + 1, 1);
  return true;
}

} // namespace mailhost
