// The real Quellbark behind the plug-in, trained on IMAP mail through `mark`, then telling new
// spam from new ham in the same mailbox: the whole path with nothing scripted but the mail.
#include "ImapTestSupport.h"

using namespace imaptest;

namespace {

class ImapRealCompanion : public ImapHostTest {
protected:
  ImapRealCompanion() {
    fs::remove_all(box.applicationPath / "Quellbark.app");
    fs::copy(sandbox::buildDirectory() / "Quellbark.app", box.applicationPath / "Quellbark.app",
             fs::copy_options::recursive);
    environment = {"QUELLBARK_DATA_DIR=" + (box.root / "quellbark-data").string()};
  }

  // A message of one kind, a little different each time; returns its URI.
  std::string deliverOf(const std::vector<std::string>& words, int n) {
    std::string body;
    for (std::size_t w = 0; w < words.size() * 3; ++w)
      body += words[(w * 7 + std::size_t(n)) % words.size()] + (w % 9 == 8 ? "\r\n" : " ");
    return messageUri(
        "INBOX",
        server.deliver("INBOX", message(words[std::size_t(n) % words.size()] + std::to_string(n),
                                        body + "\r\n")));
  }

  std::vector<std::string> environment;
};

const std::vector<std::string> kSpam = {"viagra",  "cheap",    "pills", "casino", "winner",
                                        "lottery", "prize",    "free",  "click",  "offer",
                                        "money",   "discount", "rolex", "bonus",  "urgent"};
const std::vector<std::string> kHam = {"meeting", "agenda",   "project",  "review",  "quarterly",
                                       "report",  "schedule", "team",     "minutes", "budget",
                                       "draft",   "lunch",    "thursday", "slides",  "notes"};

TEST_F(ImapRealCompanion, TrainedOnImapMailItSortsNewMail) {
  ASSERT_EQ(addAccount().exitCode, 0);
  std::vector<std::string> spam{"mark", "junk"}, ham{"mark", "good"};
  for (int n = 0; n < 12; ++n) {
    spam.push_back(deliverOf(kSpam, n));
    ham.push_back(deliverOf(kHam, n));
  }
  ProcessRun markJunk = mailhost(spam, environment);
  ASSERT_EQ(markJunk.exitCode, 0) << markJunk.err;
  ProcessRun markGood = mailhost(ham, environment);
  ASSERT_EQ(markGood.exitCode, 0) << markGood.err;

  std::string newSpam = deliverOf(kSpam, 40), newHam = deliverOf(kHam, 40);
  ProcessRun classify = mailhost({"classify", folderUrl()}, environment);
  EXPECT_EQ(classify.exitCode, 0) << classify.err;
  EXPECT_EQ(endtoend::linesOf(classify.out),
            (std::vector<std::string>{"junk\t" + newSpam + "\t", "good\t" + newHam + "\t",
                                      "2 messages: 1 junk, 1 good, 0 not classified"}));
  Json junk = folder("Junk");
  ASSERT_EQ(junk.size(), 1u);
  EXPECT_EQ(junk[0]["subject"], kSpam[40 % kSpam.size()] + "40");
  EXPECT_EQ(folder("INBOX").size(), 25u); // the trained 24 and the new ham stay
}

} // namespace
