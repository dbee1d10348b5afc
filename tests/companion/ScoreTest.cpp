// Score arithmetic and the reading of bogofilter's output.
#include "Score.h"
#include "Bogofilter.h"

#include <gtest/gtest.h>

namespace quellbark {
namespace {

TEST(Score, SpamicityBecomesRoundedPercentage) {
  const std::pair<double, int> cases[] = {{0.0, 0},    {0.004, 0},   {0.005, 1}, {0.494, 49},
                                          {0.495, 50}, {0.999, 100}, {-0.2, 0},  {1.7, 100}};
  for (const auto& [spamicity, score] : cases) {
    EXPECT_EQ(scoreFromSpamicity(spamicity), score) << spamicity;
  }
}

TEST(Score, NewUserIsNeverToldMailIsJunk) {
  struct Case {
    int score;
    LearnedCounts learned;
    int expected;
  } const cases[] = {{100, {0, 0}, 49},   {100, {9, 10}, 49},   {100, {10, 9}, 49},
                     {100, {500, 0}, 49}, {100, {10, 10}, 100}, {50, {10, 10}, 50},
                     {12, {0, 0}, 12}};
  for (const auto& c : cases) {
    EXPECT_EQ(applyNewUserCap(c.score, c.learned, 10), c.expected)
        << c.score << " with " << c.learned.spam << "/" << c.learned.good;
  }
}

TEST(BogofilterOutput, BulkLineIsReadOnlyForTheFileAsked) {
  std::string const file = "/run/q/work-1-abc/message-3.eml";
  const std::pair<std::string, std::optional<double>> cases[] = {
      {file + " 0.9876000000000000", 0.9876},
      {file + " 0.0000000000000000\r", 0.0},
      {"/run/q/work-1-abc/message-4.eml 0.5", std::nullopt}, // another file's answer
      {file + "0 0.5", std::nullopt},                        // a longer name
      {file + " -nan", std::nullopt},
      {file + " 1.5", std::nullopt},
      {"Can't open file 'wordlist.db'", std::nullopt},
  };
  for (const auto& [line, spamicity] : cases) {
    EXPECT_EQ(bogofilter::parseBulkLine(line, file), spamicity) << line;
  }
}

TEST(BogofilterOutput, MessageCountReport) {
  std::string const header = "                                 spam   good\n";
  const auto counts = bogofilter::parseMessageCount(header + ".MSG_COUNT      3      12\n");
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->spam, 3);
  EXPECT_EQ(counts->good, 12);
  const auto fresh = bogofilter::parseMessageCount(header);
  ASSERT_TRUE(fresh) << "a word list that learned nothing has no count line";
  EXPECT_EQ(fresh->spam + fresh->good, 0);
  for (std::string bad :
       {"", "garbage\n", "  spam good\n.MSG_COUNT x y\n", "  spam good\n.MSG_COUNT -1 4\n"}) {
    EXPECT_FALSE(bogofilter::parseMessageCount(bad)) << bad;
  }
}

} // namespace
} // namespace quellbark
