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
  RealCompanion() : environment(installRealQuellbark()) {}

  path folderOf(const std::string& name, const std::vector<std::string>& words, int count,
                int first = 0) {
    return writeMail(name, mboxOf(words, count, first));
  }

  std::vector<std::string> environment;
};

TEST_F(RealCompanion, TrainedThroughThePlugInItTellsNewSpamFromNewHam) {
  path spam = folderOf("Spam", kSpamWords, 12), ham = folderOf("Ham", kHamWords, 12);
  ProcessRun markJunk = mailhost({"mark", "junk", spam.string()}, environment);
  ASSERT_EQ(markJunk.exitCode, 0) << markJunk.err;
  EXPECT_EQ(linesOf(markJunk.out).size(), 12u) << markJunk.out;
  ProcessRun markGood = mailhost({"mark", "good", ham.string()}, environment);
  ASSERT_EQ(markGood.exitCode, 0) << markGood.err;

  std::string mbox = sandbox::readFile(folderOf("NewSpam", kSpamWords, 1, 40)) +
                     sandbox::readFile(folderOf("NewHam", kHamWords, 1, 40));
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
