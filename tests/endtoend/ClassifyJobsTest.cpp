// `mailhost classify -j N` with the real Quellbark over bogofilter: worker processes give the
// verdicts and the output a single process gives, and a worker that dies loses no message.
#include "EndToEnd.h"

#include <map>

using namespace endtoend;

namespace {

class ClassifyJobs : public EndToEndTest {
protected:
  ClassifyJobs() : environment(installRealQuellbark()) {}

  // Trains Quellbark, then writes an mbox and a Maildir of new mail, spam and ham mixed; returns
  // whether each message (by URI) is spam.
  std::map<std::string, bool> trainAndWriteMail() {
    EXPECT_EQ(
        mailhost({"mark", "junk", writeMail("Spam", mboxOf(kSpamWords, 12)).string()}, environment)
            .exitCode,
        0);
    EXPECT_EQ(
        mailhost({"mark", "good", writeMail("Ham", mboxOf(kHamWords, 12)).string()}, environment)
            .exitCode,
        0);
    std::map<std::string, bool> spam;
    std::string mbox;
    for (int n = 40; n < 60; ++n) {
      bool isSpam = n % 3 == 0;
      spam[folderUri(mail / "Inbox", std::to_string(mbox.size()))] = isSpam;
      mbox += mboxOf(isSpam ? kSpamWords : kHamWords, 1, n);
    }
    writeMail("Inbox", mbox);
    for (int n = 60; n < 74; ++n) {
      bool isSpam = n % 2 == 0;
      std::string key = "17000000" + std::to_string(n) + ".host";
      writeMail("Maildir/cur/" + key + ":2,", mboxOf(isSpam ? kSpamWords : kHamWords, 1, n));
      spam[folderUri(mail / "Maildir", key)] = isSpam;
    }
    return spam;
  }

  ProcessRun classify(std::vector<std::string> options, std::vector<std::string> extra = {}) {
    options.insert(options.begin(), "classify");
    options.push_back((mail / "Inbox").string());
    options.push_back((mail / "Maildir").string());
    extra.insert(extra.end(), environment.begin(), environment.end());
    return mailhost(options, extra);
  }

  std::vector<std::string> environment;
};

TEST_F(ClassifyJobs, TwoWorkersGiveWhatOneProcessGivesInTheSameOrder) {
  std::map<std::string, bool> spam = trainAndWriteMail();
  // The user's verdict is kept by the parent and never sent.
  std::string yours = spam.begin()->first;
  ASSERT_EQ(mailhost({"mark", spam.begin()->second ? "good" : "junk", yours}, environment).exitCode,
            0);

  ProcessRun one = classify({"-j", "1"});
  ProcessRun two = classify({"--jobs=2"});
  ASSERT_EQ(one.exitCode, 0) << one.err;
  ASSERT_EQ(two.exitCode, 0) << two.err;
  EXPECT_EQ(two.out, one.out);
  std::vector<std::string> lines = linesOf(two.out);
  ASSERT_EQ(lines.size(), spam.size() + 1);
  std::size_t junk = 0;
  for (const std::string& line : lines)
    junk += line.starts_with("junk\t");
  EXPECT_GT(junk, 1u);
  EXPECT_LT(junk, spam.size() - 1) << "both kinds, so the comparison tells something";
  EXPECT_NE(two.out.find("\t(yours)\n"), std::string::npos);

  // Every message the user's own, in enough batches for three workers: none is asked anything,
  // and that is no failure.
  std::string const marked = writeMail("Marked", mboxOf(kSpamWords, 24, 100)).string();
  ASSERT_EQ(mailhost({"mark", "junk", marked}, environment).exitCode, 0);
  ProcessRun decided = mailhost({"classify", "-j", "3", marked}, environment);
  EXPECT_EQ(decided.exitCode, 0) << decided.err;
  EXPECT_EQ(linesOf(decided.out).size(), 25u) << decided.out;
  EXPECT_EQ(decided.err.find("worker"), std::string::npos) << decided.err;
}

// Every worker kills itself on the batch that would take it past 12 messages: its messages go
// to a new worker once, and a message whose worker failed twice is an error, never a verdict.
TEST_F(ClassifyJobs, AWorkerThatDiesLosesNoMessage) {
  std::map<std::string, bool> spam = trainAndWriteMail();
  ProcessRun run = classify({"-j", "2", "--json"}, {"MAILHOST_TEST_WORKER_DIES_AFTER=12"});
  EXPECT_NE(run.err.find("killed by signal 9"), std::string::npos) << run.err;
  Json report = Json::parse(run.out);
  ASSERT_EQ(report["messages"].size(), spam.size());

  std::map<std::string, int> stored; // score by URI
  for (const std::string& line :
       linesOf(mailhost({"list", (mail / "Inbox").string(), (mail / "Maildir").string()}).out))
    stored[line.substr(line.rfind(' ') + 1)] = std::stoi(line);
  std::size_t lost = 0;
  for (const Json& m : report["messages"]) {
    std::string uri = m["uri"];
    ASSERT_EQ(spam.count(uri), 1u) << uri;
    if (m["verdict"] == "unclassified") {
      ++lost;
      EXPECT_NE(m.value("error", "").find("failed twice"), std::string::npos) << m.dump();
      EXPECT_EQ(stored.count(uri), 0u) << uri;
    } else {
      EXPECT_EQ(m["verdict"], spam[uri] ? "junk" : "good") << uri;
      EXPECT_EQ(stored[uri], spam[uri] ? 100 : 0) << uri;
    }
    spam.erase(uri); // each message once
  }
  EXPECT_EQ(stored.size(), report["messages"].size() - lost);
  EXPECT_EQ(report["summary"]["unclassified"], lost);
  EXPECT_EQ(run.exitCode, lost ? 1 : 0) << run.err;
}

TEST_F(EndToEndTest, ABadNumberOfJobsIsAUsageError) {
  path inbox = writeMail("Inbox", mboxOf(kSpamWords, 1));
  for (const char* jobs : {"-jx", "--jobs=-1", "--jobs=2x", "--jobs=99999"}) {
    ProcessRun run = mailhost({"classify", jobs, inbox.string()});
    EXPECT_EQ(run.exitCode, 2) << jobs;
    EXPECT_NE(run.err.find("see mailhost classify --help"), std::string::npos) << run.err;
  }
}

} // namespace
