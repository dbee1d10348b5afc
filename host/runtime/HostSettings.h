// The settings the host runs with: allocator settings of a long run, which GLib and glibc read
// only as a program starts, so they are put in the environment before the host's program starts.
#pragma once

#include <string>

namespace mailhost {

// Puts the host's settings into this process's environment, for the program it starts next,
// noting the user's own so that they can be put back. False, and nothing changed, when the user
// chose GLib's slice allocator (G_SLICE) or the settings are there already.
bool putHostSettings();

// True in a process started with the host's settings; puts the user's environment back, so that
// what the host starts (Quellbark and its bogofilter) runs as the user would run it.
bool takeBackUsersEnvironment();

// GLIBC_TUNABLES with the host's settings added to `users` (may be null), each unless the user
// names it.
std::string hostTunables(const char* users);

// The environment variable that carries the user's GLIBC_TUNABLES across the start ("=value", or
// empty when there was none).
inline constexpr const char* kTunablesBefore = "MAILHOST_GLIBC_TUNABLES_BEFORE";

} // namespace mailhost
