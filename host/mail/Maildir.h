// Maildir folders: their messages as listed at one moment, and message keys.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mailhost {

class TemporaryNameTable;

// True for a directory with a cur/ or new/ subdirectory.
bool isMaildir(const std::filesystem::path& dir);

// The messages of a Maildir folder as listed at one moment. A message's key is the file's unique
// name: the file name up to the first ':' (the part after it holds flags that change when a
// message is read or moved from new/ to cur/), so the key, and the message's URI, stay the same
// for the message's life.
// Sorted by key; hidden files, files without a key (named ":...") and subdirectories are
// skipped, and cur/ wins over a stale copy in new/. A folder may hold hundreds of thousands of
// messages and its index is kept for a whole run: the names live in one buffer, and when they
// outgrow a fixed budget they go to a temporary file instead (TemporaryNameTable), so that the
// memory taken stops growing with the folder.
class MaildirIndex {
public:
  // Lists cur/ and new/. Throws MailError(NotFound / AccessDenied / NotAFolder / Io; Io too when
  // a large folder's listing cannot be written to its temporary file).
  explicit MaildirIndex(const std::filesystem::path& dir);
  ~MaildirIndex();
  MaildirIndex(const MaildirIndex&) = delete;
  MaildirIndex& operator=(const MaildirIndex&) = delete;

  // The bytes of names held in memory at most; MAILHOST_MAILDIR_MEMORY overrides it.
  static std::size_t memoryBudget();

  const std::filesystem::path& dir() const { return mDir; }
  std::size_t size() const;
  // Entry i in key order: quickest when the entries are asked for in that order.
  std::string key(std::size_t i) const;
  std::filesystem::path file(std::size_t i) const;
  std::optional<std::filesystem::path> fileFor(std::string_view key) const;

private:
  std::string_view name(std::size_t i) const; // "cur/<file name>" or "new/<file name>"
  void sortAndDropDuplicates();
  void moveToTable();

  std::filesystem::path mDir;
  std::string mNames;                         // the names one after the other, each ended by '\0'
  std::vector<std::uint32_t> mEntries;        // where each name starts in mNames, in key order
  std::unique_ptr<TemporaryNameTable> mTable; // every name, once the budget is exceeded
};

// A message file's key: its name up to the first ':'.
std::string_view maildirKeyOf(std::string_view fileName);

// Throws MailError(BadUri) for a key that cannot name a file of the folder.
void checkMaildirKey(std::string_view key);

} // namespace mailhost
