#include "WatchState.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace mailhost {

namespace {

struct StatementFinalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

Statement prepare(sqlite3* db, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK)
    throw std::runtime_error(std::string("watch state: ") + sqlite3_errmsg(db));
  return Statement(statement);
}

void bindText(sqlite3_stmt* statement, int index, const std::string& text) {
  sqlite3_bind_text(statement, index, text.c_str(), static_cast<int>(text.size()),
                    SQLITE_TRANSIENT);
}

void finish(sqlite3* db, sqlite3_stmt* statement) {
  if (sqlite3_step(statement) != SQLITE_DONE)
    throw std::runtime_error(std::string("watch state: ") + sqlite3_errmsg(db));
}

} // namespace

WatchState::WatchState(const std::filesystem::path& file) {
  // The file is the user's alone before SQLite opens it (its journal takes the same mode).
  int fd = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0 || ::fchmod(fd, 0600) != 0) {
    std::string why = std::strerror(errno);
    if (fd >= 0)
      ::close(fd);
    throw std::runtime_error(file.string() + ": " + why);
  }
  ::close(fd);
  if (sqlite3_open_v2(file.c_str(), &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, nullptr) !=
      SQLITE_OK) {
    std::string why = mDb ? sqlite3_errmsg(mDb) : "cannot open";
    sqlite3_close(mDb);
    throw std::runtime_error(file.string() + ": " + why);
  }
  sqlite3_busy_timeout(mDb, 5000);
  try {
    execute("PRAGMA journal_mode = WAL");
    execute("CREATE TABLE IF NOT EXISTS folder_state (account TEXT, folder TEXT,"
            " uidvalidity INTEGER, highest_uid INTEGER, modseq INTEGER,"
            " PRIMARY KEY (account, folder))");
    execute("CREATE TABLE IF NOT EXISTS known_verdict (account TEXT, message_id TEXT,"
            " junk INTEGER, PRIMARY KEY (account, message_id))");
  } catch (...) {
    sqlite3_close(mDb);
    throw;
  }
}

WatchState::~WatchState() {
  sqlite3_close(mDb);
}

void WatchState::execute(const char* sql) {
  char* error = nullptr;
  if (sqlite3_exec(mDb, sql, nullptr, nullptr, &error) != SQLITE_OK) {
    std::string why = error ? error : "failed";
    sqlite3_free(error);
    throw std::runtime_error("watch state: " + why);
  }
}

std::optional<WatchState::Folder> WatchState::folder(const std::string& account,
                                                     const std::string& folder) const {
  Statement s = prepare(mDb, "SELECT uidvalidity, highest_uid, modseq FROM folder_state"
                             " WHERE account = ? AND folder = ?");
  bindText(s.get(), 1, account);
  bindText(s.get(), 2, folder);
  if (sqlite3_step(s.get()) != SQLITE_ROW)
    return std::nullopt;
  return Folder{static_cast<std::uint32_t>(sqlite3_column_int64(s.get(), 0)),
                static_cast<std::uint32_t>(sqlite3_column_int64(s.get(), 1)),
                static_cast<std::uint64_t>(sqlite3_column_int64(s.get(), 2))};
}

void WatchState::setFolder(const std::string& account, const std::string& folder,
                           const Folder& state) {
  Statement s = prepare(mDb, "INSERT OR REPLACE INTO folder_state VALUES (?, ?, ?, ?, ?)");
  bindText(s.get(), 1, account);
  bindText(s.get(), 2, folder);
  sqlite3_bind_int64(s.get(), 3, state.uidValidity);
  sqlite3_bind_int64(s.get(), 4, state.highestUid);
  sqlite3_bind_int64(s.get(), 5, static_cast<sqlite3_int64>(state.modSeq));
  finish(mDb, s.get());
}

std::optional<bool> WatchState::verdict(const std::string& account,
                                        const std::string& messageId) const {
  Statement s = prepare(mDb, "SELECT junk FROM known_verdict WHERE account = ? AND message_id = ?");
  bindText(s.get(), 1, account);
  bindText(s.get(), 2, messageId);
  if (sqlite3_step(s.get()) != SQLITE_ROW)
    return std::nullopt;
  return sqlite3_column_int(s.get(), 0) != 0;
}

void WatchState::setVerdict(const std::string& account, const std::string& messageId, bool junk) {
  Statement s = prepare(mDb, "INSERT OR REPLACE INTO known_verdict VALUES (?, ?, ?)");
  bindText(s.get(), 1, account);
  bindText(s.get(), 2, messageId);
  sqlite3_bind_int(s.get(), 3, junk ? 1 : 0);
  finish(mDb, s.get());
}

} // namespace mailhost
