// The settings the host runs with: allocator settings of a long run, which GLib and glibc read
// only as a program starts, so they are put in the environment before the host's program starts.
#pragma once

#include <string>
#include <vector>

namespace mailhost {

// Puts the host's settings into this process's environment, for the program it starts next,
// noting the user's own so that they can be put back. False, and nothing changed, when the user
// chose GLib's slice allocator (G_SLICE) or the settings are there already.
bool putHostSettings();

// True in a process started with the host's settings; puts the user's environment back, so that
// what the host starts (Quellbark and its bogofilter) runs as the user would run it.
bool takeBackUsersEnvironment();

// The environment entries ("NAME=value") of the host's settings for a user whose GLIBC_TUNABLES
// is `users` (may be null): G_SLICE, GLIBC_TUNABLES with the host's items added (each unless the
// user's names it), and the user's own GLIBC_TUNABLES, kept to be put back.
std::vector<std::string> hostSettings(const char* users);

} // namespace mailhost
