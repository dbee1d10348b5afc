// Where each message moved into a junk folder came from, so it can be moved back.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

struct sqlite3;

namespace mailhost {

// Where a message moved into a junk folder came from, kept under its URI in the junk folder.
struct JunkMove {
  std::string folder;    // the folder it was moved out of
  std::string fromUri;   // its URI there
  std::int64_t time = 0; // seconds since the epoch; 0 means now
};

// The record of messages moved into junk folders, a table of its own (junk_moves) in the junk
// store's database, which must exist already. A message's status moves with it: each change
// re-files the status and the record in one transaction, made before the file is renamed, and
// is undone when the rename fails.
class JunkMoveLog {
public:
  explicit JunkMoveLog(const std::filesystem::path& database);
  ~JunkMoveLog();
  JunkMoveLog(const JunkMoveLog&) = delete;
  JunkMoveLog& operator=(const JunkMoveLog&) = delete;

  // The message at `fromUri` is to be found at `toUri`: its junk status is re-filed under
  // `toUri`, any record kept under `fromUri` dropped, and `move` (when given) recorded under
  // `toUri`. Throws JunkStoreError, also when no status is stored under `fromUri`.
  void refile(const std::string& fromUri, const std::string& toUri,
              const std::optional<JunkMove>& move);

  std::optional<JunkMove> find(const std::string& uri) const;

private:
  void execute(const char* sql);

  std::filesystem::path mFile;
  sqlite3* mDb = nullptr;
};

} // namespace mailhost
