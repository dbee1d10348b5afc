// The record of which messages the word list has learned, and as what.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

namespace quellbark {

enum class Verdict { spam, good };

// Which messages the word list has learned, and as what: one row per message, keyed by the
// digest of its bytes (never the bytes themselves), in an sqlite file of mode 0600 beside the
// word list. It lets a message learned twice count once, and a reversed verdict move the
// message from one class to the other instead of counting it in both.
class LearnedMessages {
public:
  explicit LearnedMessages(std::filesystem::path file) : mFile(std::move(file)) {}
  ~LearnedMessages();
  LearnedMessages(const LearnedMessages&) = delete;
  LearnedMessages& operator=(const LearnedMessages&) = delete;

  // Opens the file, creating it when missing. False (see error()) for a file that is not a
  // record of ours or cannot be made private.
  bool open();
  // The class `digest` was learned as, nullopt when never; false on a failed read.
  bool find(std::string_view digest, std::optional<Verdict>& learnedAs);
  // Records these digests as now learned as `verdict`, all or none.
  bool record(const std::vector<std::string>& digests, Verdict verdict);
  // Forgets everything: the word list it described was replaced by a new one.
  bool clear();

  const std::filesystem::path& file() const { return mFile; }
  const std::string& error() const { return mError; }

private:
  bool execute(const char* sql);
  bool failed(const char* what);

  std::filesystem::path mFile;
  sqlite3* mDb = nullptr;
  std::string mError;
};

} // namespace quellbark
