#include "SecondStart.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

extern char** environ;

namespace mailhost {

namespace {

// The user's GLIBC_TUNABLES across the second start ("=value", or empty when there was none).
constexpr std::string_view kTunablesBefore = "MAILHOST_GLIBC_TUNABLES_BEFORE";

// Whether this process runs with the host's settings, made by a second start.
bool sWithHostSettings = false;

// The host's policy for a long run added to the user's GLIBC_TUNABLES, each item unless the
// user's names it:
// - a larger per-thread cache of freed small blocks: a message allocates and frees hundreds of
//   them, and the default 7 a size let most go back to the heap, to be merged and split again
//   (32 a size: about 3% fewer instructions a run);
// - cached only up to 512 bytes: the cache of every size up to 1 KiB fills, one rare size at a
//   time, over tens of thousands of messages, and would keep up to a megabyte per thread;
// - blocks of 128 KiB and more always mapped on their own: malloc otherwise raises that
//   threshold to the largest block freed so far, so a large message's buffers are carved from
//   the heaps, and raises the trimming threshold with it, so the heaps keep them afterwards.
std::string hostTunables(const char* users) {
  std::string tunables = users ? users : "";
  for (std::string_view setting : {"glibc.malloc.tcache_count=32", "glibc.malloc.tcache_max=512",
                                   "glibc.malloc.mmap_threshold=131072"}) {
    std::string_view name = setting.substr(0, setting.find('=') + 1);
    if (tunables.find(name) == std::string::npos)
      tunables += (tunables.empty() ? "" : ":") + std::string(setting);
  }
  return tunables;
}

std::string tunablesBefore(const char* users) {
  return users ? "=" + std::string(users) : "";
}

// The second start's settings are the host's own: what it starts gets the user's environment
// back (bogofilter under the host's malloc settings spends half as much time again).
void restoreUsersEnvironment() {
  const char* before = std::getenv(std::string(kTunablesBefore).c_str());
  if (!before)
    return;
  std::string tunables = before;
  ::unsetenv(std::string(kTunablesBefore).c_str());
  ::unsetenv("G_SLICE");
  if (tunables.empty())
    ::unsetenv("GLIBC_TUNABLES");
  else
    ::setenv("GLIBC_TUNABLES", tunables.c_str() + 1, 1);
}

} // namespace

// GLib's slice allocator keeps for the rest of a run the most memory one message ever needed (a
// message with hundreds of header fields leaves hundreds of KiB behind); plain malloc gives it
// back. The delivery filter handles one message and ends, so a second start would only cost it
// time (a third of its run); a folder that happens to be called "filter" merely keeps the slices.
void startAgainWithHostSettings(int argc, char** argv) {
  if (std::find(argv + 1, argv + argc, std::string_view("filter")) != argv + argc)
    return;
  if (std::getenv(std::string(kTunablesBefore).c_str())) {
    sWithHostSettings = true;
    restoreUsersEnvironment();
    return;
  }
  if (std::getenv("G_SLICE") || ::setenv("G_SLICE", "always-malloc", 0) != 0)
    return;
  const char* users = std::getenv("GLIBC_TUNABLES");
  std::string before = tunablesBefore(users);
  std::string tunables = hostTunables(users);
  ::setenv(std::string(kTunablesBefore).c_str(), before.c_str(), 1);
  ::setenv("GLIBC_TUNABLES", tunables.c_str(), 1);
  ::execv("/proc/self/exe", argv);
  restoreUsersEnvironment(); // not started again: as the user started it
}

std::vector<std::string> environmentForAnotherHost() {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry; ++entry)
    environment.emplace_back(*entry);
  if (!sWithHostSettings)
    return environment; // it decides for itself, as this process did
  const char* users = std::getenv("GLIBC_TUNABLES");
  std::string tunables = hostTunables(users);
  std::string before = tunablesBefore(users);
  std::erase_if(environment, [](const std::string& entry) {
    return entry.starts_with("G_SLICE=") || entry.starts_with("GLIBC_TUNABLES=");
  });
  environment.push_back("G_SLICE=always-malloc");
  environment.push_back("GLIBC_TUNABLES=" + tunables);
  environment.push_back(std::string(kTunablesBefore) + "=" + before);
  return environment;
}

} // namespace mailhost
