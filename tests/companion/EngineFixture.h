#pragma once

#include "Engine.h"
#include "TestMail.h"

#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

namespace quellbark::test {

// An engine on a word list of its own, with its log lines collected.
class EngineFixture : public ::testing::Test {
protected:
  EngineConfig config() {
    EngineConfig c;
    c.dataFolder = mFolder.path() / "data";
    c.workRoot = mFolder.path() / "run";
    c.bogoutil = "/usr/bin/bogoutil";
    c.replyTimeout = std::chrono::milliseconds(3000);
    c.minimumLearned = 3;
    c.log = [this](std::string const& line) {
      std::lock_guard lock(mLogMutex);
      mLog.push_back(line);
    };
    return c;
  }

  std::vector<std::string> takeLog() {
    std::lock_guard lock(mLogMutex);
    return std::exchange(mLog, {});
  }

  TempFolder mFolder;
  std::mutex mLogMutex;
  std::vector<std::string> mLog;
};

} // namespace quellbark::test
