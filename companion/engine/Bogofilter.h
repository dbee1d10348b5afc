// The command lines for bogofilter and bogoutil and the parsing of what they print.
#pragma once

#include "Score.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// How bogofilter and bogoutil are driven and how their output is read. bogofilter keeps its
// word list locked for as long as it runs (shared while classifying, exclusive while
// registering), so one process at a time works on a word list.
namespace quellbark::bogofilter {

// The two moving modes take back a message learned as one class and learn it as the other.
enum class Mode { classify, learnSpam, learnGood, moveToSpam, moveToGood };

// A long-lived process in streaming bulk mode: message file names on stdin. Classifying
// prints "<file> <spamicity>" per file; registering prints nothing and commits when it ends.
std::vector<std::string> bulkCommand(const std::filesystem::path& bogofilter,
                                     const std::filesystem::path& dataFolder, Mode mode);

// The spamicity of `file` from one line of classifying output; nullopt when the line is not
// about that file or the number is not a spamicity.
std::optional<double> parseBulkLine(std::string_view line, std::string_view file);

std::filesystem::path wordListFile(const std::filesystem::path& dataFolder);

// bogoutil loading an empty dump: creates an empty, valid word list.
std::vector<std::string> createCommand(const std::filesystem::path& bogoutil,
                                       const std::filesystem::path& dataFolder);

std::vector<std::string> countCommand(const std::filesystem::path& bogoutil,
                                      const std::filesystem::path& dataFolder);

// The learned message counts from bogoutil's word report of ".MSG_COUNT"; a word list that
// has learned nothing has no such line and counts as zero. nullopt for unreadable output.
std::optional<LearnedCounts> parseMessageCount(std::string_view report);

// bogoutil does not wait for a lock; it fails and says so.
bool reportsLocked(std::string_view errorOutput);

// The last non-empty line of a program's error output, for a log line.
std::string lastLine(std::string_view text);

} // namespace quellbark::bogofilter
