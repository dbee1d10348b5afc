#include "TestSupport.h"

#include <fstream>

namespace fs = std::filesystem;

namespace quellbark::test {

namespace {

std::string body(const std::vector<std::string>& words, int n) {
  std::string text;
  for (std::size_t i = 0; i < 48; ++i) {
    text += words[(static_cast<std::size_t>(n) * 7 + i * 5) % words.size()];
    text += i % 8 == 7 ? " ref" + std::to_string(n * 10 + static_cast<int>(i)) + "\n" : " ";
  }
  return text;
}

} // namespace

std::string spamMessage(int n) {
  return "From: promo" + std::to_string(n) + "@offers.example\nSubject: winner " +
         std::to_string(n) + " cheap casino bonus\n\n" +
         body({"viagra", "casino", "lottery", "winner", "cheap", "pills", "bonus", "jackpot",
               "unclaimed", "prize", "discount", "crypto"},
              n);
}

std::string goodMessage(int n) {
  return "From: alice" + std::to_string(n) + "@work.example\nSubject: Project review " +
         std::to_string(n) + "\n\n" +
         body({"meeting", "agenda", "review", "minutes", "project", "schedule", "budget", "draft",
               "report", "deadline", "colleague", "team"},
              n);
}

void writeScript(const fs::path& file, const std::string& body) {
  fs::path const temp = file.string() + ".new";
  std::ofstream(temp) << "#!/bin/sh\n" << body << "\n";
  fs::permissions(temp, fs::perms::owner_all);
  fs::rename(temp, file); // atomic: a running engine never sees half a script
}

std::optional<LearnedCounts> wordListCounts(const fs::path& dataFolder) {
  return bogofilter::parseMessageCount(
      runProgram({"/usr/bin/bogoutil", "-w", dataFolder.string(), ".MSG_COUNT"},
                 std::chrono::seconds(5))
          .out);
}

EngineConfig EngineFixture::config() {
  EngineConfig c;
  c.dataFolder = mFolder.path() / "data";
  c.workRoot = mFolder.path() / "run";
  c.bogoutil = "/usr/bin/bogoutil";
  c.replyTimeout = std::chrono::milliseconds(3000);
  c.minimumLearned = 3;
  c.log = [this](const std::string& line) {
    std::lock_guard lock(mLogMutex);
    mLog.push_back(line);
  };
  return c;
}

std::vector<std::string> EngineFixture::takeLog() {
  std::lock_guard lock(mLogMutex);
  return std::exchange(mLog, {});
}

} // namespace quellbark::test
