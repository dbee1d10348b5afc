#include "JunkMoveLog.h"

#include "JunkStore.h"

#include <sqlite3.h>

#include <ctime>
#include <memory>

namespace mailhost {

namespace {

constexpr const char* kSchema = "CREATE TABLE IF NOT EXISTS junk_moves ("
                                " uri TEXT PRIMARY KEY,"
                                " from_folder TEXT NOT NULL,"
                                " from_uri TEXT NOT NULL,"
                                " time INTEGER NOT NULL)";

struct StatementFinalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

void bind(sqlite3_stmt* statement, int index, const std::string& text) {
  sqlite3_bind_text(statement, index, text.c_str(), static_cast<int>(text.size()),
                    SQLITE_TRANSIENT);
}

} // namespace

JunkMoveLog::JunkMoveLog(const std::filesystem::path& database) : mFile(database) {
  // The junk store made the file (for its owner alone) and chose its journal.
  if (sqlite3_open_v2(database.c_str(), &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW,
                      nullptr) != SQLITE_OK) {
    std::string message = mDb ? sqlite3_errmsg(mDb) : "cannot open";
    sqlite3_close(mDb);
    throw JunkStoreError(database.string() + ": " + message);
  }
  sqlite3_busy_timeout(mDb, 5000);
  try {
    execute("PRAGMA synchronous = NORMAL");
    execute(kSchema);
  } catch (...) {
    sqlite3_close(mDb);
    throw;
  }
}

JunkMoveLog::~JunkMoveLog() {
  sqlite3_close(mDb);
}

void JunkMoveLog::execute(const char* sql) {
  char* error = nullptr;
  if (sqlite3_exec(mDb, sql, nullptr, nullptr, &error) != SQLITE_OK) {
    std::string message = error ? error : sqlite3_errmsg(mDb);
    sqlite3_free(error);
    throw JunkStoreError(mFile.string() + ": " + message);
  }
}

void JunkMoveLog::refile(const std::string& fromUri, const std::string& toUri,
                         const std::optional<JunkMove>& move) {
  auto run = [&](const char* sql, auto&& bindAll) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(mDb, sql, -1, &raw, nullptr) != SQLITE_OK)
      throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
    Statement statement(raw);
    bindAll(raw);
    if (sqlite3_step(raw) != SQLITE_DONE)
      throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
  };
  execute("BEGIN IMMEDIATE");
  try {
    run("DELETE FROM junk_status WHERE uri = ?2 AND EXISTS "
        "(SELECT 1 FROM junk_status WHERE uri = ?1)",
        [&](sqlite3_stmt* s) {
          bind(s, 1, fromUri);
          bind(s, 2, toUri);
        });
    run("UPDATE junk_status SET uri = ?2 WHERE uri = ?1", [&](sqlite3_stmt* s) {
      bind(s, 1, fromUri);
      bind(s, 2, toUri);
    });
    // A message is moved for its verdict only once that verdict is stored.
    if (sqlite3_changes(mDb) != 1)
      throw JunkStoreError("no stored verdict on " + fromUri);
    run("DELETE FROM junk_moves WHERE uri = ?1 OR uri = ?2", [&](sqlite3_stmt* s) {
      bind(s, 1, fromUri);
      bind(s, 2, toUri);
    });
    if (move)
      run("INSERT INTO junk_moves (uri, from_folder, from_uri, time) VALUES (?, ?, ?, ?)",
          [&](sqlite3_stmt* s) {
            bind(s, 1, toUri);
            bind(s, 2, move->folder);
            bind(s, 3, move->fromUri);
            sqlite3_bind_int64(s, 4, move->time ? move->time : std::time(nullptr));
          });
    execute("COMMIT");
  } catch (...) {
    sqlite3_exec(mDb, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

std::optional<JunkMove> JunkMoveLog::find(const std::string& uri) const {
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v2(mDb, "SELECT from_folder, from_uri, time FROM junk_moves WHERE uri = ?",
                         -1, &raw, nullptr) != SQLITE_OK)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
  Statement query(raw);
  bind(raw, 1, uri);
  int step = sqlite3_step(raw);
  if (step == SQLITE_DONE)
    return std::nullopt;
  if (step != SQLITE_ROW)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
  auto text = [&](int column) {
    const unsigned char* value = sqlite3_column_text(raw, column);
    return std::string(value ? reinterpret_cast<const char*>(value) : "");
  };
  return JunkMove{text(0), text(1), sqlite3_column_int64(raw, 2)};
}

} // namespace mailhost
