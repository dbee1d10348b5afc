#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <vector>

namespace {

class Notice : public testing::Test {
protected:
  void SetUp() override {
    unsetenv("DBUS_SESSION_BUS_ADDRESS"); // no desktop notifications from tests
    log = dir / "notices.jsonl";
    setenv("CF_USER_NOTIFICATION_LOG", log.c_str(), 1);
  }
  void TearDown() override { unsetenv("CF_USER_NOTIFICATION_LOG"); }

  std::vector<nlohmann::json> entries() const {
    std::vector<nlohmann::json> lines;
    std::ifstream in(log);
    for (std::string line; std::getline(in, line);) {
      lines.push_back(nlohmann::json::parse(line));
    }
    return lines;
  }

  cftest::TempDir dir;
  std::string log;
};

} // namespace

TEST_F(Notice, EachNoticeIsOneStderrLineAndOnePrivateJsonLine) {
  testing::internal::CaptureStderr();
  SInt32 first = CFUserNotificationDisplayNotice(
      0.0, kCFUserNotificationCautionAlertLevel, nullptr, nullptr, nullptr,
      CFSTR("Could Not Find Quux"), CFSTR("Install \"Quux\" in Applications."), nullptr);
  SInt32 second = CFUserNotificationDisplayNotice(
      2.5, kCFUserNotificationNoteAlertLevel | kCFUserNotificationNoDefaultButtonFlag, nullptr,
      nullptr, nullptr, CFSTR("Caf\xc3\xa9"), CFSTR("line one\nline two"), CFSTR("OK"));
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(first + second, 0);
  EXPECT_EQ(err, "Notice: Could Not Find Quux: Install \"Quux\" in Applications.\n"
                 "Notice: Caf\xc3\xa9: line one line two\n");

  struct stat st {};
  ASSERT_EQ(stat(log.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  std::vector<nlohmann::json> lines = entries();
  ASSERT_EQ(lines.size(), 2u) << "the launcher tests check what a line holds";
  EXPECT_EQ(lines[1]["message"], "line one\nline two") << "kept whole for the reader";
}

TEST_F(Notice, WithoutTheHookOnlyStderrIsWritten) {
  unsetenv("CF_USER_NOTIFICATION_LOG");
  testing::internal::CaptureStderr();
  EXPECT_EQ(CFUserNotificationDisplayNotice(0, 2, nullptr, nullptr, nullptr, CFSTR("A"), CFSTR("B"),
                                            nullptr),
            0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Notice: A: B\n");
  EXPECT_FALSE(std::filesystem::exists(log));
}
