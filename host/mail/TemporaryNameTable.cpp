#include "TemporaryNameTable.h"

#include "MailError.h"

#include <unix/PrivateFolder.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace mailhost {

namespace {

// The file's pages kept in memory: enough for the path from the root to a leaf and for reading
// and adding in key order, which is how the table is used.
constexpr int kCacheKiB = 32;

void makePrivateFolder(const fs::path& folder) {
  std::error_code ec;
  fs::create_directories(folder.parent_path(), ec);
  errno = 0;
  if (!os::ensurePrivateFolder(folder.string(), os::WiderModes::refuse))
    throw MailError(MailErrorKind::Io, "cannot keep the listing in " + folder.string() + ": " +
                                           (errno != 0 && errno != EEXIST
                                                ? std::strerror(errno)
                                                : "not a folder of this user's alone (0700)"));
}

std::string_view columnText(sqlite3_stmt* statement, int column) {
  const void* bytes = sqlite3_column_blob(statement, column);
  int size = sqlite3_column_bytes(statement, column);
  return bytes ? std::string_view(static_cast<const char*>(bytes), std::size_t(size))
               : std::string_view();
}

void bindText(sqlite3_stmt* statement, int column, std::string_view text) {
  // A blob, not text: file names need not be UTF-8, and blobs compare byte by byte as
  // std::string_view does.
  sqlite3_bind_blob(statement, column, text.empty() ? "" : text.data(), int(text.size()),
                    SQLITE_STATIC);
}

} // namespace

fs::path TemporaryNameTable::defaultFolder() {
  const char* cache = std::getenv("XDG_CACHE_HOME");
  const char* home = std::getenv("HOME");
  fs::path base;
  if (cache && *cache == '/')
    base = cache;
  else if (home && *home == '/')
    base = fs::path(home) / ".cache";
  else
    base = fs::temp_directory_path() / ("mailhost-" + std::to_string(::geteuid()));
  return base / "mailhost";
}

TemporaryNameTable::TemporaryNameTable(const fs::path& folder) : mFolder(folder) {
  makePrivateFolder(folder);
  std::string file = (folder / "listing-XXXXXX").string();
  int fd = ::mkstemp(file.data()); // 0600
  if (fd < 0)
    throw MailError(MailErrorKind::Io, "cannot make a temporary file in " + folder.string() + ": " +
                                           std::strerror(errno));
  ::close(fd);
  int rc =
      sqlite3_open_v2(file.c_str(), &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, nullptr);
  try {
    if (rc != SQLITE_OK)
      fail("cannot open " + file);
    // Memory bounded: no lookaside slots, no mapping of the file, a small page cache.
    sqlite3_db_config(mDb, SQLITE_DBCONFIG_LOOKASIDE, nullptr, 0, 0);
    execute(("PRAGMA cache_size = -" + std::to_string(kCacheKiB)).c_str());
    execute("PRAGMA mmap_size = 0");
    // One writer, no reader but this one, nothing to keep after a crash: no journal, no sync.
    execute("PRAGMA locking_mode = EXCLUSIVE");
    execute("PRAGMA journal_mode = OFF");
    execute("PRAGMA synchronous = OFF");
    execute("CREATE TABLE names (key BLOB PRIMARY KEY, name BLOB NOT NULL) WITHOUT ROWID");
    execute("BEGIN");
    if (sqlite3_prepare_v3(mDb, "INSERT OR IGNORE INTO names VALUES (?1, ?2)", -1,
                           SQLITE_PREPARE_PERSISTENT, &mInsert, nullptr) != SQLITE_OK)
      fail("cannot prepare");
  } catch (...) {
    ::unlink(file.c_str());
    sqlite3_finalize(mInsert);
    sqlite3_close(mDb);
    throw;
  }
  ::unlink(file.c_str());
}

TemporaryNameTable::~TemporaryNameTable() {
  sqlite3_finalize(mInsert);
  sqlite3_finalize(mLookup);
  sqlite3_finalize(mCursor);
  sqlite3_close(mDb);
}

void TemporaryNameTable::fail(const std::string& what) const {
  throw MailError(MailErrorKind::Io, "cannot keep the listing in " + mFolder.string() + ": " +
                                         what + ": " +
                                         (mDb ? sqlite3_errmsg(mDb) : "out of memory"));
}

void TemporaryNameTable::execute(const char* sql) {
  if (sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
    fail(sql);
}

void TemporaryNameTable::add(std::string_view key, std::string_view name) {
  sqlite3_reset(mInsert);
  bindText(mInsert, 1, key);
  bindText(mInsert, 2, name);
  if (sqlite3_step(mInsert) != SQLITE_DONE)
    fail("cannot add a name");
  mSize += std::size_t(sqlite3_changes(mDb));
}

void TemporaryNameTable::finish() {
  sqlite3_finalize(mInsert);
  mInsert = nullptr;
  execute("COMMIT");
  if (sqlite3_prepare_v3(mDb, "SELECT key, name FROM names WHERE key >= ?1 ORDER BY key", -1,
                         SQLITE_PREPARE_PERSISTENT, &mLookup, nullptr) != SQLITE_OK ||
      sqlite3_prepare_v3(mDb, "SELECT key, name FROM names ORDER BY key", -1,
                         SQLITE_PREPARE_PERSISTENT, &mCursor, nullptr) != SQLITE_OK)
    fail("cannot prepare");
}

void TemporaryNameTable::moveCursorTo(std::size_t i) const {
  if (!mCursorOn || i < mCursorAt) {
    sqlite3_reset(mCursor);
    mCursorOn = false;
    if (sqlite3_step(mCursor) != SQLITE_ROW)
      fail("cannot read the listing back");
    mCursorOn = true;
    mCursorAt = 0;
  }
  for (; mCursorAt < i; ++mCursorAt) {
    if (sqlite3_step(mCursor) != SQLITE_ROW) {
      mCursorOn = false;
      fail("cannot read the listing back");
    }
  }
}

std::string TemporaryNameTable::keyAt(std::size_t i) const {
  std::lock_guard lock(mMutex);
  moveCursorTo(i);
  return std::string(columnText(mCursor, 0));
}

std::string TemporaryNameTable::nameAt(std::size_t i) const {
  std::lock_guard lock(mMutex);
  moveCursorTo(i);
  return std::string(columnText(mCursor, 1));
}

std::optional<std::string> TemporaryNameTable::nameFor(std::string_view key) const {
  std::lock_guard lock(mMutex);
  // Messages are looked up in key order, mostly: a few steps on from the last one found are
  // cheaper than a search from the root.
  constexpr int kStepsAhead = 4;
  for (int steps = 0; mLookupOn; ++steps) {
    std::string_view at = columnText(mLookup, 0);
    if (at == key)
      return std::string(columnText(mLookup, 1));
    if (at > key) {
      if (steps > 0)
        return std::nullopt; // stepped past where it would be
      break;
    }
    if (steps == kStepsAhead)
      break;
    int rc = sqlite3_step(mLookup);
    if (rc != SQLITE_ROW)
      mLookupOn = false;
    if (rc == SQLITE_DONE)
      return std::nullopt; // every key is smaller
    if (rc != SQLITE_ROW)
      fail("cannot look a name up");
  }
  sqlite3_reset(mLookup);
  sqlite3_bind_blob(mLookup, 1, key.empty() ? "" : key.data(), int(key.size()), SQLITE_TRANSIENT);
  int rc = sqlite3_step(mLookup);
  mLookupOn = rc == SQLITE_ROW;
  if (rc == SQLITE_DONE)
    return std::nullopt;
  if (rc != SQLITE_ROW)
    fail("cannot look a name up");
  if (columnText(mLookup, 0) != key)
    return std::nullopt;
  return std::string(columnText(mLookup, 1));
}

} // namespace mailhost
