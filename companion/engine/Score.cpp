#include "Score.h"

#include <algorithm>
#include <cmath>

namespace quellbark {

int scoreFromSpamicity(double spamicity) {
  const double clamped = std::clamp(spamicity, 0.0, 1.0);
  return static_cast<int>(std::lround(clamped * 100.0));
}

int applyNewUserCap(int score, LearnedCounts learned, std::int64_t minimumLearned) {
  const bool trained = learned.spam >= minimumLearned && learned.good >= minimumLearned;
  return trained ? score : std::min(score, junkThreshold - 1);
}

} // namespace quellbark
