// The stored junk status of each message: score, who decided it, and when.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace mailhost {

// Who decided a message's junk status: the junk-mail plug-in or the user.
enum class JunkOrigin { Plugin, User };

// The stored junk status of one message, as the local folders keep it: a score of 100 (junk)
// or 0 (good), its origin and when it was recorded (seconds since the epoch). A user's verdict
// also says whether the spam filter has learned it: one it has not is trained again when the
// user marks the message again.
struct JunkStatus {
  std::string uri;
  int score = 0;
  JunkOrigin origin = JunkOrigin::Plugin;
  std::int64_t time = 0;
  bool trained = true;
  bool operator==(const JunkStatus&) const = default;
};

const char* originName(JunkOrigin origin);

// The junk-mail plug-in's classification values.
inline constexpr std::uint32_t kUnclassified = 0;
inline constexpr std::uint32_t kGood = 1;
inline constexpr std::uint32_t kJunk = 2;

// The classification the user last gave a message, which the host passes as the "old"
// classification when the user marks it again: none unless the user decided it; junk when the
// user's score is above 50, good otherwise.
std::uint32_t previousUserClassification(const std::optional<JunkStatus>& status);

class JunkStoreError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// The junk statuses of a profile, in an SQLite database readable by its owner only (0600).
// Every record call is its own transaction, so a run that is cut short keeps every status it
// has already recorded. Commits are not synced to the disk one by one (a write-ahead log with
// normal synchronisation): a crash of the process loses nothing, a power loss may lose the
// statuses recorded last.
class JunkStore {
public:
  static constexpr const char* kFileName = "junkstatus.sqlite";

  // Opens or creates the database. Throws JunkStoreError (with the file's name) when the file
  // cannot be created or is not a junk-status database.
  explicit JunkStore(const std::filesystem::path& file);
  ~JunkStore();
  JunkStore(const JunkStore&) = delete;
  JunkStore& operator=(const JunkStore&) = delete;

  // Stores (or replaces) statuses in one transaction; `time` 0 means now.
  void record(const std::vector<JunkStatus>& statuses);
  void record(const std::string& uri, int score, JunkOrigin origin, bool trained = true);

  std::optional<JunkStatus> find(const std::string& uri) const;
  // The statuses of many messages, in their order, read in one transaction: the file is locked
  // and unlocked once for them all instead of once each.
  std::vector<std::optional<JunkStatus>> findEach(const std::vector<std::string>& uris);
  // The user's statuses among these messages, in their order (none where the plug-in decided or
  // nobody did). Messages of one folder share the start of their URIs: the user's statuses
  // there are read in one query instead of one lookup each.
  std::vector<std::optional<JunkStatus>> findUsersVerdicts(const std::vector<std::string>& uris);
  std::vector<JunkStatus> all() const; // ordered by URI
  // Each status in URI order, one at a time, so that no more than one is held.
  void forEach(const std::function<void(const JunkStatus&)>& visit) const;

private:
  void execute(const char* sql);
  void addTrainedColumn();
  sqlite3_stmt* prepared(sqlite3_stmt*& statement, const char* sql) const;
  void step(sqlite3_stmt* statement); // one that returns no rows

  std::filesystem::path mFile;
  sqlite3* mDb = nullptr;
  mutable sqlite3_stmt* mInsert = nullptr; // prepared once, used for every status
  mutable sqlite3_stmt* mFind = nullptr;
  sqlite3_stmt* mFindUsers = nullptr;
  sqlite3_stmt* mBegin = nullptr;
  sqlite3_stmt* mBeginRead = nullptr;
  sqlite3_stmt* mCommit = nullptr;
};

} // namespace mailhost
