#include "JunkStore.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>

namespace mailhost {

namespace {

constexpr const char* kSchema = "CREATE TABLE IF NOT EXISTS junk_status ("
                                " uri TEXT PRIMARY KEY,"
                                " score INTEGER NOT NULL CHECK (score IN (0, 100)),"
                                " origin TEXT NOT NULL CHECK (origin IN ('plugin', 'user')),"
                                " time INTEGER NOT NULL,"
                                " trained INTEGER NOT NULL DEFAULT 1 CHECK (trained IN (0, 1)))";

struct StatementFinalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

JunkOrigin originFromName(const unsigned char* name) {
  return name && std::strcmp(reinterpret_cast<const char*>(name), "user") == 0 ? JunkOrigin::User
                                                                               : JunkOrigin::Plugin;
}

JunkStatus rowToStatus(sqlite3_stmt* row) {
  const unsigned char* uri = sqlite3_column_text(row, 0);
  return {uri ? reinterpret_cast<const char*>(uri) : "", sqlite3_column_int(row, 1),
          originFromName(sqlite3_column_text(row, 2)), sqlite3_column_int64(row, 3),
          sqlite3_column_int(row, 4) != 0};
}

// Creates the file for its owner alone before SQLite opens it (SQLite gives its journal the
// same mode), and takes away any wider permission an existing file has.
void createPrivately(const std::filesystem::path& file) {
  int fd = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0)
    throw JunkStoreError(file.string() + ": " + std::strerror(errno));
  int result = ::fchmod(fd, 0600);
  int error = errno;
  ::close(fd);
  if (result != 0)
    throw JunkStoreError(file.string() + ": " + std::strerror(error));
}

} // namespace

const char* originName(JunkOrigin origin) {
  return origin == JunkOrigin::User ? "user" : "plugin";
}

std::uint32_t previousUserClassification(const std::optional<JunkStatus>& status) {
  if (!status || status->origin != JunkOrigin::User)
    return kUnclassified;
  return status->score > 50 ? kJunk : kGood;
}

JunkStore::JunkStore(const std::filesystem::path& file) : mFile(file) {
  createPrivately(file);
  if (sqlite3_open_v2(file.c_str(), &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, nullptr) !=
      SQLITE_OK) {
    std::string message = mDb ? sqlite3_errmsg(mDb) : "cannot open";
    sqlite3_close(mDb);
    throw JunkStoreError(file.string() + ": " + message);
  }
  sqlite3_busy_timeout(mDb, 5000);
  try {
    // A status is committed as it is reported, so a run that is killed keeps it; with a
    // write-ahead log a commit needs no sync, and only a power loss can take the last ones.
    execute("PRAGMA journal_mode = WAL");
    execute("PRAGMA synchronous = NORMAL");
    // The table grows with the mail; the few pages an insert or a lookup touches do not.
    execute("PRAGMA cache_size = -64");
    execute(kSchema);
    addTrainedColumn();
    // The user's verdicts, few beside the plug-in's: a folder's are found without reading the rest.
    execute("CREATE INDEX IF NOT EXISTS junk_status_by_user ON junk_status (uri)"
            " WHERE origin = 'user'");
  } catch (...) {
    sqlite3_close(mDb);
    throw;
  }
}

JunkStore::~JunkStore() {
  sqlite3_finalize(mInsert);
  sqlite3_finalize(mFind);
  sqlite3_finalize(mFindUsers);
  sqlite3_finalize(mBegin);
  sqlite3_finalize(mBeginRead);
  sqlite3_finalize(mCommit);
  sqlite3_close(mDb);
}

void JunkStore::execute(const char* sql) {
  char* error = nullptr;
  if (sqlite3_exec(mDb, sql, nullptr, nullptr, &error) != SQLITE_OK) {
    std::string message = error ? error : sqlite3_errmsg(mDb);
    sqlite3_free(error);
    throw JunkStoreError(mFile.string() + ": " + message);
  }
}

// A database made before verdicts were known to be learned: every verdict in it counts as learned.
void JunkStore::addTrainedColumn() {
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v2(mDb,
                         "SELECT 1 FROM pragma_table_info('junk_status') WHERE name = 'trained'",
                         -1, &raw, nullptr) != SQLITE_OK)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
  Statement query(raw);
  int step = sqlite3_step(query.get());
  if (step == SQLITE_DONE)
    execute("ALTER TABLE junk_status ADD COLUMN trained INTEGER NOT NULL DEFAULT 1"
            " CHECK (trained IN (0, 1))");
  else if (step != SQLITE_ROW)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
}

void JunkStore::record(const std::vector<JunkStatus>& statuses) {
  step(prepared(mBegin, "BEGIN IMMEDIATE"));
  try {
    sqlite3_stmt* insert =
        prepared(mInsert, "INSERT INTO junk_status (uri, score, origin, time, trained)"
                          " VALUES (?, ?, ?, ?, ?) ON CONFLICT (uri) DO UPDATE SET"
                          " score = excluded.score, origin = excluded.origin,"
                          " time = excluded.time, trained = excluded.trained");
    std::int64_t now = static_cast<std::int64_t>(std::time(nullptr));
    for (const JunkStatus& status : statuses) {
      sqlite3_bind_text(insert, 1, status.uri.c_str(), static_cast<int>(status.uri.size()),
                        SQLITE_STATIC);
      sqlite3_bind_int(insert, 2, status.score);
      sqlite3_bind_text(insert, 3, originName(status.origin), -1, SQLITE_STATIC);
      sqlite3_bind_int64(insert, 4, status.time ? status.time : now);
      sqlite3_bind_int(insert, 5, status.trained ? 1 : 0);
      int result = sqlite3_step(insert);
      sqlite3_reset(insert);
      sqlite3_clear_bindings(insert);
      if (result != SQLITE_DONE)
        throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
    }
    step(prepared(mCommit, "COMMIT"));
  } catch (...) {
    sqlite3_exec(mDb, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

void JunkStore::record(const std::string& uri, int score, JunkOrigin origin, bool trained) {
  record(std::vector<JunkStatus>{{uri, score, origin, 0, trained}});
}

sqlite3_stmt* JunkStore::prepared(sqlite3_stmt*& statement, const char* sql) const {
  if (!statement &&
      sqlite3_prepare_v3(mDb, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
  return statement;
}

void JunkStore::step(sqlite3_stmt* statement) {
  int result = sqlite3_step(statement);
  sqlite3_reset(statement);
  if (result != SQLITE_DONE)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
}

std::optional<JunkStatus> JunkStore::find(const std::string& uri) const {
  sqlite3_stmt* query =
      prepared(mFind, "SELECT uri, score, origin, time, trained FROM junk_status WHERE uri = ?");
  sqlite3_bind_text(query, 1, uri.c_str(), static_cast<int>(uri.size()), SQLITE_STATIC);
  int step = sqlite3_step(query);
  std::optional<JunkStatus> status;
  if (step == SQLITE_ROW)
    status = rowToStatus(query);
  sqlite3_reset(query);
  sqlite3_clear_bindings(query);
  if (step != SQLITE_ROW && step != SQLITE_DONE)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
  return status;
}

std::vector<std::optional<JunkStatus>> JunkStore::findEach(const std::vector<std::string>& uris) {
  std::vector<std::optional<JunkStatus>> statuses;
  statuses.reserve(uris.size());
  step(prepared(mBeginRead, "BEGIN"));
  try {
    for (const std::string& uri : uris)
      statuses.push_back(find(uri));
    step(prepared(mCommit, "COMMIT"));
  } catch (...) {
    sqlite3_exec(mDb, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
  return statuses;
}

std::vector<std::optional<JunkStatus>>
JunkStore::findUsersVerdicts(const std::vector<std::string>& uris) {
  auto usersOnly = [&] {
    std::vector<std::optional<JunkStatus>> statuses = findEach(uris);
    for (std::optional<JunkStatus>& status : statuses)
      if (status && status->origin != JunkOrigin::User)
        status.reset();
    return statuses;
  };
  if (uris.size() < 2)
    return usersOnly();
  // Every URI starts with `from`; every URI that does sorts before `to`.
  std::string from = uris.front();
  for (const std::string& uri : uris)
    from.resize(static_cast<std::size_t>(
        std::mismatch(from.begin(), from.end(), uri.begin(), uri.end()).first - from.begin()));
  std::string to = from;
  while (!to.empty() && static_cast<unsigned char>(to.back()) == 0xff)
    to.pop_back();
  if (to.empty())
    return usersOnly();
  to.back() = static_cast<char>(static_cast<unsigned char>(to.back()) + 1);

  std::unordered_map<std::string_view, std::size_t> place;
  for (std::size_t i = 0; i < uris.size(); ++i)
    place.emplace(uris[i], i);
  // A folder where the user decided far more messages than asked about is cheaper to look up
  // message by message.
  const std::size_t most = 4 * uris.size();
  sqlite3_stmt* query = prepared(mFindUsers, "SELECT uri, score, origin, time, trained"
                                             " FROM junk_status WHERE origin = 'user'"
                                             " AND uri >= ? AND uri < ? LIMIT ?");
  sqlite3_bind_text(query, 1, from.data(), static_cast<int>(from.size()), SQLITE_STATIC);
  sqlite3_bind_text(query, 2, to.data(), static_cast<int>(to.size()), SQLITE_STATIC);
  sqlite3_bind_int64(query, 3, static_cast<sqlite3_int64>(most + 1));
  std::vector<std::optional<JunkStatus>> statuses(uris.size());
  std::size_t rows = 0;
  int step = SQLITE_ROW;
  while ((step = sqlite3_step(query)) == SQLITE_ROW) {
    ++rows;
    const auto* uri = reinterpret_cast<const char*>(sqlite3_column_text(query, 0));
    auto found = place.find(
        std::string_view(uri ? uri : "", static_cast<std::size_t>(sqlite3_column_bytes(query, 0))));
    if (found != place.end())
      statuses[found->second] = rowToStatus(query);
  }
  sqlite3_reset(query);
  sqlite3_clear_bindings(query);
  if (step != SQLITE_DONE)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
  if (rows > most)
    return usersOnly();
  for (std::size_t i = 0; i < uris.size(); ++i) // a message asked about twice
    if (std::size_t first = place.at(uris[i]); first != i)
      statuses[i] = statuses[first];
  return statuses;
}

std::vector<JunkStatus> JunkStore::all() const {
  std::vector<JunkStatus> statuses;
  forEach([&](const JunkStatus& status) { statuses.push_back(status); });
  return statuses;
}

void JunkStore::forEach(const std::function<void(const JunkStatus&)>& visit) const {
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v2(mDb,
                         "SELECT uri, score, origin, time, trained FROM junk_status ORDER BY uri",
                         -1, &raw, nullptr) != SQLITE_OK)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
  Statement query(raw);
  int step;
  while ((step = sqlite3_step(query.get())) == SQLITE_ROW)
    visit(rowToStatus(query.get()));
  if (step != SQLITE_DONE)
    throw JunkStoreError(mFile.string() + ": " + sqlite3_errmsg(mDb));
}

} // namespace mailhost
