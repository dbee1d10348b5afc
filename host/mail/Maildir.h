// Maildir folders: their messages as listed at one moment, and message keys.
#pragma once

#include "NameIndex.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace mailhost {

// True for a directory with a cur/ or new/ subdirectory.
bool isMaildir(const std::filesystem::path& dir);

// The messages of a Maildir folder as listed at one moment. A message's key is the file's unique
// name: the file name up to the first ':' (the part after it holds flags that change when a
// message is read or moved from new/ to cur/), so the key, and the message's URI, stay the same
// for the message's life.
// Sorted by key; hidden files, files without a key (named ":...") and subdirectories are
// skipped, and cur/ wins over a stale copy in new/. The index is kept for a whole run, in memory
// that stops growing with the folder (NameIndex).
class MaildirIndex {
public:
  // Lists cur/ and new/. Throws MailError(NotFound / AccessDenied / NotAFolder / Io; Io too when
  // a large folder's listing cannot be written to its temporary file).
  explicit MaildirIndex(const std::filesystem::path& dir);
  ~MaildirIndex();
  MaildirIndex(const MaildirIndex&) = delete;
  MaildirIndex& operator=(const MaildirIndex&) = delete;

  const std::filesystem::path& dir() const { return mDir; }
  std::size_t size() const { return mNames.size(); }
  // Entry i in key order: quickest when the entries are asked for in that order.
  std::string key(std::size_t i) const { return mNames.key(i); }
  // As text, joined without std::filesystem: a run asks for every message's file, and a path
  // object splits its text into components each time it is made.
  std::string file(std::size_t i) const { return mDir.native() + '/' + mNames.name(i); }
  std::optional<std::filesystem::path> fileFor(std::string_view key) const;

private:
  std::filesystem::path mDir;
  NameIndex mNames; // "cur/<file name>" or "new/<file name>", by the file's key
};

// A message file's key: its name up to the first ':'.
std::string_view maildirKeyOf(std::string_view fileName);

// Throws MailError(BadUri) for a key that cannot name a file of the folder.
void checkMaildirKey(std::string_view key);

} // namespace mailhost
