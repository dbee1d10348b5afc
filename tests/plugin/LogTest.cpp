// The console log with a real preferences file: which levels pass which threshold, the line
// format, and that the threshold is read again for every message. (What kinds of values and
// files read as a valid integer is the preferences tests', through the same call.)
#include "HostTestSupport.h"
#include "LogLevelFile.h"
#include "log/QuellbarkLog.h"

#include <CoreFoundation/CoreFoundation.h>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace {

using testsupport::TempDir;

class LogTest : public testing::Test {
protected:
  void SetUp() override { setenv("CFFIXED_USER_HOME", mHome.path().c_str(), 1); }
  void TearDown() override { unsetenv("CFFIXED_USER_HOME"); }

  // The letters of the levels that print: d(ebug), i(nfo), e(rror).
  std::string levelsPrinted() {
    testsupport::StderrCapture capture(mScratch);
    debug("d");
    info("i");
    error("e");
    std::string text = capture.text(), letters;
    for (std::size_t at = 0; (at = text.find("Quellbark Thunderbird Plug-In: ", at)) != text.npos;
         at += 31)
      letters += text[at + 31];
    return letters;
  }

  // Waits (10 s at most) until the preferences system delivers the file's new value (0: none).
  void waitForLevel(long long level) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (CFPreferencesGetAppIntegerValue(CFSTR("ThunderbirdLogLevel"),
                                           CFSTR("com.quellbark.Quellbark"), nullptr) != level &&
           std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  void changeLevel(long long level) {
    testsupport::writeLogLevel(mHome.path(), level);
    waitForLevel(level);
  }

  TempDir mHome;
  TempDir mScratch;
};

struct Setting {
  const char* label;
  std::function<void(const std::string& home)> write;
  const char* printed;
};

TEST_F(LogTest, ThresholdFromQuellbarksPreferences) {
  auto level = [](long long n) {
    return [n](const std::string& home) { testsupport::writeLogLevel(home, n); };
  };
  const Setting settings[] = {
      {"no file", [](const std::string&) {}, "e"},
      {"no key", [](const std::string& h) { testsupport::writeQuellbarkPrefs(h, nullptr); }, "e"},
      {"0 is a value, not an absence", level(0), "die"},
      {"10", level(10), "die"},
      {"11", level(11), "ie"},
      {"21", level(21), "e"},
      {"41", level(41), ""},
  };
  for (const Setting& setting : settings) {
    SCOPED_TRACE(setting.label);
    TempDir home;
    setenv("CFFIXED_USER_HOME", home.path().c_str(), 1);
    setting.write(home.path());
    EXPECT_EQ(levelsPrinted(), setting.printed);
  }
}

TEST_F(LogTest, AChangedFileTakesEffectOnceDelivered) {
  testsupport::writeLogLevel(mHome.path(), 10);
  testsupport::StderrCapture capture(mScratch);
  debug("first");
  changeLevel(40);
  debug("second");
  changeLevel(10);
  debug("third");
  unlink(testsupport::quellbarkPrefsPath(mHome.path()).c_str());
  waitForLevel(0);
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
  debug("100%% plain");
  EXPECT_EQ(capture.text(),
            "Quellbark Thunderbird Plug-In: score: 73\n"
            "Quellbark Thunderbird Plug-In: unsupported training classification: -1\n"
            "Quellbark Thunderbird Plug-In: classify message: "
            "mailbox:///inbox?number=1\n"
            "Quellbark Thunderbird Plug-In: data: (null)\n"
            "Quellbark Thunderbird Plug-In: 100% plain\n");
}

} // namespace
