// Names by key in a private temporary SQLite file: a listing too large to keep in memory.
#pragma once

#include <cstddef>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace mailhost {

// A table of key -> name, filled once in key order and then read back in key order or looked up
// by key. The file lives in a folder of the user's alone and is unlinked as soon as it is open,
// so that nothing is left behind, not even by a crash. Its page cache is bounded: the table
// takes the same memory however many names it holds. Safe to read from several threads.
class TemporaryNameTable {
public:
  // Throws MailError(Io) when the file cannot be made (unwritable folder, no space, ...).
  explicit TemporaryNameTable(const std::filesystem::path& folder);
  ~TemporaryNameTable();
  TemporaryNameTable(const TemporaryNameTable&) = delete;
  TemporaryNameTable& operator=(const TemporaryNameTable&) = delete;

  // Adds a name unless its key is there already: the first name given for a key stays.
  void add(std::string_view key, std::string_view name);
  // Ends the filling; the table is read-only from then on.
  void finish();

  std::size_t size() const { return mSize; }
  // Entry i in key order, quickest when asked for in that order.
  std::string keyAt(std::size_t i) const;
  std::string nameAt(std::size_t i) const;
  std::optional<std::string> nameFor(std::string_view key) const;

  // Where the tables of this user go: a 0700 folder of the user's cache folder.
  static std::filesystem::path defaultFolder();

private:
  void execute(const char* sql);
  [[noreturn]] void fail(const std::string& what) const;
  void moveCursorTo(std::size_t i) const;

  std::filesystem::path mFolder;
  sqlite3* mDb = nullptr;
  sqlite3_stmt* mInsert = nullptr;
  sqlite3_stmt* mLookup = nullptr; // the entries from a key on
  sqlite3_stmt* mCursor = nullptr; // every entry in key order
  std::size_t mSize = 0;
  mutable std::mutex mMutex;
  mutable std::size_t mCursorAt = 0; // the entry mCursor is on, when mCursorOn
  mutable bool mCursorOn = false;
  mutable bool mLookupOn = false; // mLookup is on the entry last found or passed
};

} // namespace mailhost
