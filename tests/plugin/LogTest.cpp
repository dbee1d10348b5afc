// The console log with a real preferences file: which levels pass which threshold, the line
// format, and that the threshold is read again for every message.
#include "HostTestSupport.h"
#include "LogLevelFile.h"
#include "log/QuellbarkLog.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>
#include <optional>

namespace {

using testsupport::TempDir;

class LogTest : public testing::Test {
protected:
  void SetUp() override { setenv("CFFIXED_USER_HOME", mHome.path().c_str(), 1); }
  void TearDown() override { unsetenv("CFFIXED_USER_HOME"); }

  // What the three levels print, one message each.
  std::string logAllLevels() {
    testsupport::StderrCapture capture(mScratch);
    debug("d");
    info("i");
    error("e");
    return capture.text();
  }

  TempDir mHome;
  TempDir mScratch;
};

struct ThresholdCase {
  std::optional<long long> level; // nullopt: no such key
  const char* printed;
};

TEST_F(LogTest, EachThresholdLetsThroughTheLevelsAtOrAboveIt) {
  const ThresholdCase cases[] = {
      {std::nullopt, "e"}, {-5, "die"}, {0, "die"}, {9, "die"}, {10, "die"}, {11, "ie"},
      {20, "ie"},          {21, "e"},   {39, "e"},  {40, "e"},  {41, ""},    {1000, ""},
  };
  for (const ThresholdCase& c : cases) {
    SCOPED_TRACE(c.level ? std::to_string(*c.level) : "absent");
    if (c.level)
      testsupport::writeLogLevel(mHome.path(), *c.level);
    else
      testsupport::writeQuellbarkPrefs(mHome.path(), nullptr);
    std::string expected;
    for (const char* p = c.printed; *p; ++p)
      expected += std::string("Quellbark Thunderbird Plug-In: ") + *p + "\n";
    EXPECT_EQ(logAllLevels(), expected);
  }
}

TEST_F(LogTest, MissingCorruptOrInvalidPreferenceMeansErrorsOnly) {
  const std::string onlyError = "Quellbark Thunderbird Plug-In: e\n";
  EXPECT_EQ(logAllLevels(), onlyError) << "no preferences file at all";

  testsupport::writeQuellbarkPrefs(mHome.path(), plist_new_real(10.0));
  EXPECT_EQ(logAllLevels(), onlyError) << "a real number is not an integer";
  testsupport::writeQuellbarkPrefs(mHome.path(), plist_new_bool(1));
  EXPECT_EQ(logAllLevels(), onlyError) << "a boolean is not an integer";
  testsupport::writeQuellbarkPrefs(mHome.path(), plist_new_string("ten"));
  EXPECT_EQ(logAllLevels(), onlyError) << "a string that is no number";

  testsupport::writeFile(testsupport::quellbarkPrefsPath(mHome.path()),
                         "<?xml version=\"1.0\"?><plist><dict><key>Thunder");
  EXPECT_EQ(logAllLevels(), onlyError) << "a truncated file";
}

TEST_F(LogTest, ZeroIsAValueNotAnAbsence) {
  testsupport::writeLogLevel(mHome.path(), 0);
  EXPECT_EQ(logAllLevels(), "Quellbark Thunderbird Plug-In: d\nQuellbark Thunderbird Plug-In: i\n"
                            "Quellbark Thunderbird Plug-In: e\n");
}

TEST_F(LogTest, NumericStringAndBinaryFileAreHonoured) {
  testsupport::writeQuellbarkPrefs(mHome.path(), plist_new_string("20"));
  EXPECT_EQ(logAllLevels(), "Quellbark Thunderbird Plug-In: i\nQuellbark Thunderbird Plug-In: e\n");
  testsupport::writeQuellbarkPrefs(mHome.path(), plist_new_uint(10), /*binary=*/true);
  EXPECT_EQ(logAllLevels().size(), 3 * std::string("Quellbark Thunderbird Plug-In: d\n").size());
}

TEST_F(LogTest, AChangedFileTakesEffectAtTheNextLine) {
  testsupport::writeLogLevel(mHome.path(), 10);
  testsupport::StderrCapture capture(mScratch);
  debug("first");
  testsupport::writeLogLevel(mHome.path(), 40);
  debug("second");
  testsupport::writeLogLevel(mHome.path(), 10);
  debug("third");
  unlink(testsupport::quellbarkPrefsPath(mHome.path()).c_str());
  debug("fourth");
  EXPECT_EQ(capture.text(),
            "Quellbark Thunderbird Plug-In: first\nQuellbark Thunderbird Plug-In: third\n");
}

TEST_F(LogTest, FormatsFollowCoreFoundation) {
  testsupport::writeLogLevel(mHome.path(), 10);
  testsupport::StderrCapture capture(mScratch);
  info("score: %d", 73);
  error("unsupported training classification: %d", -1);
  debug("classify message: %@", CFSTR("mailbox:///inbox?number=1"));
  debug("data: %@", static_cast<CFTypeRef>(nullptr));
  debug("100%% plain, no directives");
  EXPECT_EQ(capture.text(),
            "Quellbark Thunderbird Plug-In: score: 73\n"
            "Quellbark Thunderbird Plug-In: unsupported training classification: -1\n"
            "Quellbark Thunderbird Plug-In: classify message: "
            "mailbox:///inbox?number=1\n"
            "Quellbark Thunderbird Plug-In: data: (null)\n"
            "Quellbark Thunderbird Plug-In: 100% plain, no directives\n");
}

} // namespace
