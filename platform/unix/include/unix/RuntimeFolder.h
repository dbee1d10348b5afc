// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// The per-user folder where applications that take Apple Events register and listen:
// $XDG_RUNTIME_DIR/AppleEvents; without XDG_RUNTIME_DIR, /run/user/<uid>/AppleEvents when
// /run/user/<uid> is this user's private folder, else /tmp/AppleEvents-<uid>.
#pragma once

#include <optional>
#include <string>
#include <sys/stat.h>

namespace os {

// The folder's path when it exists (or, with create, has been made) as a directory of this
// user's alone (mode 0700, not a symbolic link). A folder owned by someone else or open to
// group or others is refused: nothing. `seen`, when given, receives the folder's status as
// checked.
std::optional<std::string> runtimeFolder(bool create, struct stat* seen = nullptr);

// The folder's path alone, neither made nor checked.
std::string runtimeFolderPath();

} // namespace os
