// Messages from mail files to the companion and verdicts back, through mailhost, the bundle and
// the real transport: a batch in order, each message arriving byte for byte. (How the host turns
// 8-bit text and attachments into the filter form is the host's own mail tests'.)
#include "EndToEnd.h"

using namespace endtoend;

namespace {

using Batches = EndToEndTest;

// The plug-in's log lines that show how a batch moves: the request, the one listener, each
// stream started, each capture's first line and each score.
std::vector<std::string> batchProgress(const std::string& err) {
  std::vector<std::string> shown;
  for (const std::string& text : pluginLines(err)) {
    if (text == "nsBayesianFilter::ClassifyMessages()" ||
        text == "nsBayesianFilter::streamMessage()" ||
        text.starts_with("QuellbarkTokenStreamListener::QuellbarkTokenStreamListener") ||
        text.starts_with("QuellbarkTokenStreamListener::~") || text.starts_with("Subject: ") ||
        text.starts_with("score: "))
      shown.push_back(text);
  }
  return shown;
}

TEST_F(Batches, AnMboxOfFourIsReportedInOrderEachMessageOnceThroughOneListener) {
  installCompanion();
  replies({"score=shor:10", "score=shor:90", "score=shor:20", "score=shor:80"});
  box.setLogLevel(10);
  std::string mbox;
  std::vector<std::string> keys, sent;
  for (int i = 1; i <= 4; ++i) {
    if (i > 1)
      mbox += "\n";
    keys.push_back(std::to_string(mbox.size()));
    std::string message =
        "Subject: message " + std::to_string(i) + "\n\nbody " + std::to_string(i) + "\n";
    mbox += "From sender@example.org Mon Jan  1 00:00:00 2024\n" + message;
    sent.push_back(message);
  }
  path inbox = writeMail("Inbox", mbox);

  ProcessRun run =
      mailhost({"classify", inbox.string()}, {"GLIBC_TUNABLES=glibc.malloc.perturb=0"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(linesOf(run.out), (std::vector<std::string>{
                                  "good\t" + folderUri(inbox, keys[0]) + "\t" + inbox.string(),
                                  "junk\t" + folderUri(inbox, keys[1]) + "\t" + inbox.string(),
                                  "good\t" + folderUri(inbox, keys[2]) + "\t" + inbox.string(),
                                  "junk\t" + folderUri(inbox, keys[3]) + "\t" + inbox.string(),
                                  "4 messages: 2 junk, 2 good, 0 not classified",
                              }));
  EXPECT_EQ(messagesReceived(), sent);
  // One request, one listener for the whole batch, each message streamed only after the one
  // before it was scored, and the listener gone after the last.
  EXPECT_EQ(batchProgress(run.err),
            (std::vector<std::string>{
                "nsBayesianFilter::ClassifyMessages()",
                "QuellbarkTokenStreamListener::QuellbarkTokenStreamListener",
                "nsBayesianFilter::streamMessage()", "Subject: message 1", "score: 10",
                "nsBayesianFilter::streamMessage()", "Subject: message 2", "score: 90",
                "nsBayesianFilter::streamMessage()", "Subject: message 3", "score: 20",
                "nsBayesianFilter::streamMessage()", "Subject: message 4", "score: 80",
                "QuellbarkTokenStreamListener::~QuellbarkTokenStreamListener"}));
  std::vector<pid_t> started = sandbox::startedCompanions(box.events);
  ASSERT_EQ(started.size(), 1u) << "launched once, then found";
  // The host's own malloc settings stay with the host: what it launches gets the user's.
  std::string environment = sandbox::readFile("/proc/" + std::to_string(started[0]) + "/environ");
  EXPECT_NE(environment.find(std::string("GLIBC_TUNABLES=glibc.malloc.perturb=0") + '\0'),
            std::string::npos);
  EXPECT_EQ(environment.find("MAILHOST_"), std::string::npos);
  if (!std::getenv("G_SLICE")) {
    EXPECT_EQ(environment.find("G_SLICE="), std::string::npos);
  }
}

} // namespace
