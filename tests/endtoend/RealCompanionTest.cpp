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
                                       "junk\t" + folderUri(fresh, "0") + "\t" + fresh.string(),
                                       "good\t" + folderUri(fresh, hamKey) + "\t" + fresh.string(),
                                       "2 messages: 1 junk, 1 good, 0 not classified",
                                   }));
  EXPECT_TRUE(fs::exists(box.root / "quellbark-data")) << "the word list lives in the sandbox";
}

} // namespace
