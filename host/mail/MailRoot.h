// The folder local mail folders are named relative to in URIs.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace mailhost {

// The folder under which local mail folders are named in URIs. A folder's URI path is its
// path relative to the root, with the ".sbd" suffix of every enclosing folder directory
// dropped ("Inbox.sbd/Lists" is named "Inbox/Lists"), each name percent-escaped. The default
// root "/" names every folder by its absolute path, so any folder the user names has a URI.
class MailRoot {
public:
  explicit MailRoot(const std::filesystem::path& root = "/");

  const std::filesystem::path& path() const { return mRoot; }

  // The escaped URI path (no leading '/') of a folder or message file. Relative paths are
  // taken from the working directory; symbolic links are resolved so that every way of naming
  // one folder gives the same URI. Throws MailError(OutsideRoot) for a path outside the root.
  std::string uriPathFor(const std::filesystem::path& folder) const;

  // The inverse: the file-system path of an escaped URI path. An enclosing name "X" maps to
  // the directory "X.sbd" when that exists, else to "X". Throws MailError(BadUri) for an empty
  // name, "." or "..", so a URI can never leave the root.
  std::filesystem::path folderPathFor(std::string_view uriPath) const;

private:
  std::filesystem::path mRoot;
};

// The absolute, symlink-resolved form of a path as used in every URI.
std::filesystem::path canonicalMailPath(const std::filesystem::path& path);

} // namespace mailhost
