// Where `mailhost watch` keeps its place per folder and the last verdict known per message.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

struct sqlite3;

namespace mailhost {

// Where `mailhost watch` keeps its place, in <profile>/imapwatch.sqlite (mode 0600):
//   folder_state(account, folder, uidvalidity, highest_uid, modseq): what of each folder has
//     been looked at, so that a restart takes up where the last run stopped;
//   known_verdict(account, message_id, junk): the last verdict known for each message (the
//     filter's or the user's), by Message-ID, which a message keeps when it moves: a message
//     turning up in the junk folder, or with a keyword, is the user's verdict only when it
//     differs from this.
class WatchState {
public:
  static constexpr const char* kFileName = "imapwatch.sqlite";

  struct Folder {
    std::uint32_t uidValidity = 0;
    std::uint32_t highestUid = 0;
    std::uint64_t modSeq = 0;
  };

  explicit WatchState(const std::filesystem::path& file); // throws std::runtime_error
  ~WatchState();
  WatchState(const WatchState&) = delete;
  WatchState& operator=(const WatchState&) = delete;

  std::optional<Folder> folder(const std::string& account, const std::string& folder) const;
  void setFolder(const std::string& account, const std::string& folder, const Folder& state);

  // true junk, false good, nothing when unknown.
  std::optional<bool> verdict(const std::string& account, const std::string& messageId) const;
  void setVerdict(const std::string& account, const std::string& messageId, bool junk);

private:
  void execute(const char* sql);

  sqlite3* mDb = nullptr;
};

} // namespace mailhost
