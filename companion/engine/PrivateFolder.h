// Folders only this user can enter, and the per-process work folder for message files.
#pragma once

#include <filesystem>
#include <span>
#include <string_view>

namespace quellbark {

// Creates `folder` (and missing parents) so that only this user can enter it. An existing
// folder must be a real directory owned by this user; wider permissions are narrowed to 0700.
// Returns false when that cannot be guaranteed.
bool ensurePrivateFolder(const std::filesystem::path& folder);

// A folder of this process alone (mode 0700) for the message files handed to the engine.
// Files are written 0600 and removed after use; the folder goes when the object does.
// Folders left behind by processes that no longer run are swept on creation.
class WorkFolder {
public:
  // Returns an empty object (valid() false) when the folder cannot be made private.
  explicit WorkFolder(const std::filesystem::path& root);
  ~WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  bool valid() const { return !mPath.empty(); }
  const std::filesystem::path& path() const { return mPath; }

  // Writes `parts`, one after the other, to a new 0600 file in the folder; returns its path,
  // or empty on failure.
  std::filesystem::path writeMessage(std::span<const std::string_view> parts);

private:
  std::filesystem::path mPath;
  unsigned long mNextFile = 0;
};

} // namespace quellbark
