// The host, the plug-in and the real Quellbark application with its bogofilter engine: the
// plug-in launches Quellbark through Launch Services, the user's verdicts train it, and new mail
// is then classified the way the training points.
#include "EndToEnd.h"

#include <csignal>
#include <unistd.h>

using namespace endtoend;

namespace {

class RealCompanion : public EndToEndTest {
protected:
  RealCompanion() {
    fs::copy(sandbox::buildDirectory() / "Quellbark.app", box.applicationPath / "Quellbark.app",
             fs::copy_options::recursive);
    environment = {"QUELLBARK_DATA_DIR=" + (box.root / "quellbark-data").string()};
  }

  // Messages of one kind, each a little different, as an mbox folder.
  path folderOf(const std::string& name, const std::vector<std::string>& words, int count,
                int first = 0) {
    std::string mbox;
    for (int n = first; n < first + count; ++n) {
      std::string body;
      for (std::size_t w = 0; w < words.size() * 3; ++w)
        body += words[(w * 7 + std::size_t(n)) % words.size()] + (w % 9 == 8 ? "\n" : " ");
      mbox += "From x@example.org Mon Jan  1 00:00:00 2024\nSubject: " +
              words[std::size_t(n) % words.size()] + " " + std::to_string(n) + "\n\n" + body +
              "\n\n";
    }
    return writeMail(name, mbox);
  }

  std::vector<std::string> environment;
};

const std::vector<std::string> kSpam = {
    "viagra", "cheap", "pills", "casino",   "winner", "lottery", "prize",       "free",
    "click",  "offer", "money", "discount", "rolex",  "bonus",   "unsubscribe", "urgent"};
const std::vector<std::string> kHam = {
    "meeting", "agenda", "project", "review", "quarterly", "report", "schedule",  "team",
    "minutes", "budget", "draft",   "lunch",  "thursday",  "slides", "colleague", "notes"};

TEST_F(RealCompanion, TrainedThroughThePlugInItTellsNewSpamFromNewHam) {
  path spam = folderOf("Spam", kSpam, 12), ham = folderOf("Ham", kHam, 12);
  ProcessRun markJunk = mailhost({"mark", "junk", spam.string()}, environment);
  ASSERT_EQ(markJunk.exitCode, 0) << markJunk.err;
  EXPECT_EQ(linesOf(markJunk.out).size(), 12u) << markJunk.out;
  ProcessRun markGood = mailhost({"mark", "good", ham.string()}, environment);
  ASSERT_EQ(markGood.exitCode, 0) << markGood.err;

  std::string mbox = sandbox::readFile(folderOf("NewSpam", kSpam, 1, 40)) +
                     sandbox::readFile(folderOf("NewHam", kHam, 1, 40));
  path fresh = writeMail("Fresh", mbox);
  std::string hamKey = std::to_string(sandbox::readFile(mail / "NewSpam").size());
  ProcessRun classify = mailhost({"classify", fresh.string()}, environment);
  EXPECT_EQ(classify.exitCode, 0) << classify.err;
  EXPECT_EQ(linesOf(classify.out), (std::vector<std::string>{
                                       "junk  " + folderUri(fresh, "0"),
                                       "good  " + folderUri(fresh, hamKey),
                                       "2 messages: 1 junk, 1 good, 0 not classified",
                                   }));
  EXPECT_TRUE(fs::exists(box.root / "quellbark-data")) << "the word list lives in the sandbox";
}

// Launched by the plug-in, Quellbark holds none of mailhost's streams: a pipe that reads
// mailhost's output and errors ends with mailhost, and Quellbark's log goes to its own file.
TEST_F(RealCompanion, LaunchedItLogsToItsOwnFileAndAPipeOnTheHostEnds) {
  path inbox = folderOf("Inbox", kSpam, 1);
  path build = sandbox::buildDirectory();
  std::vector<std::string> command = {"/bin/sh",
                                      "-c",
                                      "\"$@\" 2>&1 | cat",
                                      "sh",
                                      (build / "bin/mailhost").string(),
                                      "--profile",
                                      profile.string(),
                                      "--plugin",
                                      (build / "lib/QuellbarkPlugIn.so").string(),
                                      "classify",
                                      inbox.string()};
  std::vector<std::string> env = box.environment();
  env.insert(env.end(), environment.begin(), environment.end());
  env.push_back("QUELLBARK_BOGOFILTER=" + (box.root / "no-such-bogofilter").string());

  // A full log from earlier runs is moved aside before the first new line.
  path log = box.home / ".local/state/Quellbark/Quellbark.log";
  std::string earlier(1024 * 1024, 'x');
  sandbox::writeFile(log, earlier, fs::perms::owner_read | fs::perms::owner_write);

  ProcessRun run = sandbox::runToEnd(command, env, box.root);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_NE(run.out.find("1 messages"), std::string::npos) << run.out;
  std::vector<path> registered;
  for (const auto& entry : fs::directory_iterator(box.runtime / "AppleEvents"))
    if (entry.path().extension() == ".plist")
      registered.push_back(entry.path());
  EXPECT_EQ(registered.size(), 1u) << "Quellbark was launched and still runs";

  EXPECT_EQ(sandbox::readFile(log.string() + ".1"), earlier);
  EXPECT_NE(sandbox::readFile(log).find("Quellbark: the spam engine (bogofilter) is missing"),
            std::string::npos);
  EXPECT_EQ(run.out.find("the spam engine"), std::string::npos) << run.out;
  EXPECT_EQ(fs::status(log).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::status(log.parent_path()).permissions(), fs::perms::owner_all);
}

} // namespace
