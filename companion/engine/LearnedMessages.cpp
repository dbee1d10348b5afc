#include "LearnedMessages.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quellbark {

namespace {

// The stored class: 1 spam, 0 good.
int codeOf(Verdict verdict) {
  return verdict == Verdict::spam ? 1 : 0;
}

// A prepared statement that is finalised however its scope is left.
class Statement {
public:
  Statement(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &mStatement, nullptr); }
  ~Statement() { sqlite3_finalize(mStatement); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  sqlite3_stmt* get() const { return mStatement; }

private:
  sqlite3_stmt* mStatement = nullptr;
};

} // namespace

LearnedMessages::~LearnedMessages() {
  sqlite3_close(mDb);
}

bool LearnedMessages::failed(const char* what) {
  mError = std::string(what) + " " + mFile.string() + ": " +
           (mDb != nullptr ? sqlite3_errmsg(mDb) : "out of memory");
  return false;
}

bool LearnedMessages::execute(const char* sql) {
  return sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr) == SQLITE_OK || failed("cannot write");
}

bool LearnedMessages::open() {
  if (mDb != nullptr) {
    return true;
  }
  // Made 0600 before sqlite opens it; sqlite's journal files take the same mode.
  const int fd = ::open(mFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  struct stat st {};
  const bool ours = fd >= 0 && ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) &&
                    st.st_uid == ::geteuid() &&
                    ((st.st_mode & 077) == 0 || ::fchmod(fd, 0600) == 0);
  if (fd >= 0) {
    ::close(fd);
  }
  if (!ours) {
    mError = "cannot make " + mFile.string() + " a private file of this user";
    return false;
  }
  if (sqlite3_open_v2(mFile.c_str(), &mDb, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    failed("cannot open");
    sqlite3_close(mDb);
    mDb = nullptr;
    return false;
  }
  sqlite3_busy_timeout(mDb, 5000);
  if (sqlite3_exec(mDb,
                   "CREATE TABLE IF NOT EXISTS learned (digest BLOB PRIMARY KEY, "
                   "spam INTEGER NOT NULL) WITHOUT ROWID",
                   nullptr, nullptr, nullptr) != SQLITE_OK) {
    failed("cannot read");
    sqlite3_close(mDb);
    mDb = nullptr;
    return false;
  }
  return true;
}

bool LearnedMessages::find(std::string_view digest, std::optional<Verdict>& learnedAs) {
  learnedAs.reset();
  const Statement query(mDb, "SELECT spam FROM learned WHERE digest = ?");
  if (query.get() == nullptr ||
      sqlite3_bind_blob(query.get(), 1, digest.data(), static_cast<int>(digest.size()),
                        SQLITE_STATIC) != SQLITE_OK) {
    return failed("cannot read");
  }
  const int step = sqlite3_step(query.get());
  if (step == SQLITE_ROW) {
    learnedAs = sqlite3_column_int(query.get(), 0) != 0 ? Verdict::spam : Verdict::good;
    return true;
  }
  return step == SQLITE_DONE || failed("cannot read");
}

bool LearnedMessages::record(const std::vector<std::string>& digests, Verdict verdict) {
  if (!execute("BEGIN IMMEDIATE")) {
    return false;
  }
  const Statement insert(mDb, "INSERT OR REPLACE INTO learned (digest, spam) VALUES (?, ?)");
  bool ok = insert.get() != nullptr;
  for (std::size_t i = 0; ok && i < digests.size(); ++i) {
    sqlite3_reset(insert.get());
    ok = sqlite3_bind_blob(insert.get(), 1, digests[i].data(), static_cast<int>(digests[i].size()),
                           SQLITE_STATIC) == SQLITE_OK &&
         sqlite3_bind_int(insert.get(), 2, codeOf(verdict)) == SQLITE_OK &&
         sqlite3_step(insert.get()) == SQLITE_DONE;
  }
  if (!ok) {
    failed("cannot write");
    execute("ROLLBACK");
    return false;
  }
  return execute("COMMIT");
}

bool LearnedMessages::clear() {
  return execute("DELETE FROM learned");
}

} // namespace quellbark
