// What the companion's tests share: sample messages, stand-in scripts, engines on own word lists.
#pragma once

#include "Engine.h"
#include "TempDir.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

namespace quellbark::test {

// Messages in two clearly different vocabularies, varied by `n` so that no two are equal.
std::string spamMessage(int n);
std::string goodMessage(int n);

using testsupport::TempDir;

// Replaces `file` at once by an executable shell script.
void writeScript(const std::filesystem::path& file, const std::string& body);

// bogofilter's own counts of a word list, read by bogoutil.
std::optional<LearnedCounts> wordListCounts(const std::filesystem::path& dataFolder);

// An engine on a word list of its own, with its log lines collected.
class EngineFixture : public ::testing::Test {
protected:
  EngineConfig config();
  std::vector<std::string> takeLog();

  TempDir mFolder;
  std::mutex mLogMutex;
  std::vector<std::string> mLog;
};

} // namespace quellbark::test
