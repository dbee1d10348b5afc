#include "Bogofilter.h"

#include <charconv>
#include <cmath>
#include <sstream>

namespace fs = std::filesystem;

namespace quellbark::bogofilter {

std::vector<std::string> bulkCommand(const fs::path& bogofilter, const fs::path& dataFolder,
                                     Mode mode) {
  // -C: no configuration files, so the user's settings for other uses cannot change the output.
  std::vector<std::string> argv{bogofilter.string(), "-C", "-d", dataFolder.string()};
  switch (mode) {
  case Mode::classify:
    argv.insert(argv.end(), {"-b", "-TT"});
    break;
  case Mode::learnSpam:
    argv.insert(argv.end(), {"-s", "-b"});
    break;
  case Mode::learnGood:
    argv.insert(argv.end(), {"-n", "-b"});
    break;
  case Mode::moveToSpam:
    argv.insert(argv.end(), {"-N", "-s", "-b"});
    break;
  case Mode::moveToGood:
    argv.insert(argv.end(), {"-S", "-n", "-b"});
    break;
  }
  return argv;
}

std::optional<double> parseBulkLine(std::string_view line, std::string_view file) {
  if (!line.starts_with(file) || line.size() <= file.size() + 1 || line[file.size()] != ' ') {
    return std::nullopt;
  }
  std::string_view number = line.substr(file.size() + 1);
  while (!number.empty() && (number.back() == ' ' || number.back() == '\r')) {
    number.remove_suffix(1);
  }
  double value = 0;
  const auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (ec != std::errc() || end != number.data() + number.size() || !std::isfinite(value) ||
      value < 0.0 || value > 1.0) {
    return std::nullopt;
  }
  return value;
}

fs::path wordListFile(const fs::path& dataFolder) {
  return dataFolder / "wordlist.db";
}

std::vector<std::string> createCommand(const fs::path& bogoutil, const fs::path& dataFolder) {
  return {bogoutil.string(), "-l", wordListFile(dataFolder).string()};
}

std::vector<std::string> countCommand(const fs::path& bogoutil, const fs::path& dataFolder) {
  return {bogoutil.string(), "-w", dataFolder.string(), ".MSG_COUNT"};
}

std::optional<LearnedCounts> parseMessageCount(std::string_view report) {
  std::istringstream lines{std::string(report)};
  std::string line;
  bool sawHeader = false;
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string first;
    words >> first;
    if (first == "spam") {
      sawHeader = true;
    } else if (first == ".MSG_COUNT") {
      LearnedCounts counts;
      if (!(words >> counts.spam >> counts.good) || counts.spam < 0 || counts.good < 0) {
        return std::nullopt;
      }
      return counts;
    }
  }
  return sawHeader ? std::optional<LearnedCounts>(LearnedCounts{}) : std::nullopt;
}

bool reportsLocked(std::string_view errorOutput) {
  return errorOutput.find("Resource temporarily unavailable") != std::string_view::npos;
}

std::string lastLine(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
    text.remove_suffix(1);
  }
  std::size_t const start = text.rfind('\n');
  return std::string(start == std::string_view::npos ? text : text.substr(start + 1));
}

} // namespace quellbark::bogofilter
