// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#pragma once

#include <string>
#include <string_view>
#include <sys/stat.h>

namespace os {

// Replaces the file at `path` with `bytes`, mode 0600. The bytes go to a temporary file of a
// name no other writer shares, in the same folder; it is flushed to disk and renamed over the
// target, then the folder is flushed so the rename survives a crash. On failure the old file is
// untouched, the temporary is gone and `error` (when given) says what the system refused.
bool writeFileAtomically(const std::string& path, std::string_view bytes,
                         std::string* error = nullptr);

// Reads a regular file of at most maxSize bytes; false if it cannot be read. `info`, when given,
// receives the identity of the file the bytes came from.
bool readSmallFile(const std::string& path, std::size_t maxSize, std::string& bytes,
                   struct stat* info = nullptr);

} // namespace os
