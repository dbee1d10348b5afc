// What the host can tell about the spam filter without asking the plug-in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace mailhost {

// What the host can tell about the spam filter without asking the plug-in: whether Launch
// Services finds it, whether it runs, and what its word list has learned.
struct QuellbarkState {
  bool found = false;
  std::string path; // the application bundle
  bool running = false;
  std::optional<std::int64_t> learnedSpam;
  std::optional<std::int64_t> learnedGood;
  std::string problem; // why the counts are missing, if they are
};

QuellbarkState probeQuellbark();

// "Learned:   12 spam, 34 good" out of the application's status report.
bool parseLearnedCounts(const std::string& statusText, std::int64_t& spam, std::int64_t& good);

} // namespace mailhost
