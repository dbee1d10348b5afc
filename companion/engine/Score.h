// From bogofilter's spamicity to the score the plug-in reads, with the new-user cap.
#pragma once

#include <cstdint>

namespace quellbark {

struct LearnedCounts {
  std::int64_t spam = 0;
  std::int64_t good = 0;
};

// Scores below this mean good; a new user's engine stays below it.
inline constexpr int junkThreshold = 50;

// bogofilter's spamicity (0..1) as a percentage, rounded. Callers reject non-finite values.
int scoreFromSpamicity(double spamicity);

// Until the user has taught the engine at least `minimumLearned` messages of each kind, no
// message is called junk: the score is held at junkThreshold - 1.
int applyNewUserCap(int score, LearnedCounts learned, std::int64_t minimumLearned);

} // namespace quellbark
