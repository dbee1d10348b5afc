// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#pragma once

#include <string>
#include <sys/stat.h>

namespace os {

// True when path is a directory (not a symbolic link) owned by this user and closed to group
// and others. `seen`, when given, receives its status as checked.
bool isPrivateFolder(const std::string& path, struct stat* seen = nullptr);

enum class WiderModes { refuse, narrow };

// Makes the folder (mode 0700) unless it exists, then checks it is this user's alone. A folder
// open to group or others is refused, or narrowed to 0700 when the caller owns what is in it.
bool ensurePrivateFolder(const std::string& path, WiderModes wider, struct stat* seen = nullptr);

} // namespace os
