// The host's profile: the per-user folder that holds prefs.js (and, as the host grows, its mail).
#pragma once

#include <string>

namespace mailhost {

// $XDG_DATA_HOME/mailhost/profile, or ~/.local/share/mailhost/profile when XDG_DATA_HOME is unset
// or not absolute.
std::string defaultProfileDirectory();

// Makes the folder and any missing parents, each new one readable by the user alone (0700).
// An existing folder is used as it is. Returns an empty string, or why the folder is unusable.
std::string prepareProfileDirectory(const std::string& path);

} // namespace mailhost
