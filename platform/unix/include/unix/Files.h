// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// Questions about files and folders, and small reads of them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace os {

// Following symbolic links, as opening would.
bool isFolder(const std::string& path);
// A regular file this process may execute.
bool isExecutableFile(const std::string& path);

// The names in a folder, "." and ".." left out, in no particular order; empty when it cannot be
// read.
std::vector<std::string> folderEntries(const std::string& path);

// The path with every symbolic link and "." or ".." resolved; empty when it does not resolve.
std::string realPath(const std::string& path);

// The first `size` bytes of a file; false when it is shorter or cannot be read.
bool readFirstBytes(const std::string& path, void* buffer, std::size_t size);

// This user's home folder from the password database; empty when it has none.
std::string homeFromPasswordDatabase();

// A pipe whose ends are non-blocking and closed at exec, for waking a thread out of poll().
bool openWakePipe(int ends[2]);

} // namespace os
