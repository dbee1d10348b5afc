// Score arithmetic and the reading of bogofilter's output.
#include "Score.h"
#include "Bogofilter.h"

#include <gtest/gtest.h>

namespace quellbark {
namespace {

TEST(Score, SpamicityBecomesRoundedPercentage) {
  struct Case {
    double spamicity;
    int score;
  } const cases[] = {{0.0, 0},   {0.004, 0},   {0.005, 1}, {0.494, 49}, {0.495, 50},
                     {0.52, 52}, {0.999, 100}, {1.0, 100}, {-0.2, 0},   {1.7, 100}};
  for (auto const& c : cases) {
    EXPECT_EQ(scoreFromSpamicity(c.spamicity), c.score) << c.spamicity;
  }
}

TEST(Score, NewUserIsNeverToldMailIsJunk) {
  struct Case {
    int score;
    LearnedCounts learned;
    int expected;
  } const cases[] = {
      {100, {0, 0}, 49},    {100, {9, 10}, 49}, {100, {10, 9}, 49}, {100, {500, 0}, 49},
      {100, {10, 10}, 100}, {50, {10, 10}, 50}, {12, {0, 0}, 12},   {49, {0, 0}, 49},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(applyNewUserCap(c.score, c.learned, 10), c.expected)
        << c.score << " with " << c.learned.spam << "/" << c.learned.good;
  }
}

TEST(BogofilterOutput, BulkLineIsReadOnlyForTheFileAsked) {
  std::string const file = "/run/q/work-1-abc/message-3.eml";
  struct Case {
    std::string line;
    std::optional<double> spamicity;
  } const cases[] = {
      {file + " 0.9876000000000000", 0.9876},
      {file + " 0.0000000000000000\r", 0.0},
      {file + " 1", 1.0},
      {"/run/q/work-1-abc/message-4.eml 0.5", std::nullopt}, // another file's answer
      {file + "0 0.5", std::nullopt},                        // a longer name
      {file + " ", std::nullopt},
      {file, std::nullopt},
      {file + " nan", std::nullopt},
      {file + " -nan", std::nullopt},
      {file + " 1.5", std::nullopt},
      {file + " 0.5 extra", std::nullopt},
      {"Can't open file 'wordlist.db'", std::nullopt},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(bogofilter::parseBulkLine(c.line, file), c.spamicity) << c.line;
  }
}

TEST(BogofilterOutput, MessageCountReport) {
  auto const counts =
      bogofilter::parseMessageCount("                                 spam   good\n"
                                    ".MSG_COUNT                          3      12\n");
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->spam, 3);
  EXPECT_EQ(counts->good, 12);

  auto const fresh =
      bogofilter::parseMessageCount("                                 spam   good\n");
  ASSERT_TRUE(fresh) << "a word list that learned nothing has no count line";
  EXPECT_EQ(fresh->spam + fresh->good, 0);

  EXPECT_FALSE(bogofilter::parseMessageCount(""));
  EXPECT_FALSE(bogofilter::parseMessageCount("garbage\n"));
  EXPECT_FALSE(bogofilter::parseMessageCount("  spam good\n.MSG_COUNT x y\n"));
  EXPECT_FALSE(bogofilter::parseMessageCount("  spam good\n.MSG_COUNT -1 4\n"));
}

TEST(BogofilterOutput, LastLineOfErrorOutput) {
  EXPECT_EQ(bogofilter::lastLine("BDB0210 checksum error\nerror #22 - Invalid argument.\n\n"),
            "error #22 - Invalid argument.");
  EXPECT_EQ(bogofilter::lastLine("single"), "single");
  EXPECT_EQ(bogofilter::lastLine("\n\n"), "");
}

} // namespace
} // namespace quellbark
