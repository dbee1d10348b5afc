// Messages from mail files to the companion and verdicts back, through mailhost, the bundle and
// the real transport: a batch in order, and the capture exactly as the companion receives it.
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

  ProcessRun run = mailhost({"classify", inbox.string()});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(linesOf(run.out), (std::vector<std::string>{
                                  "good  " + folderUri(inbox, keys[0]),
                                  "junk  " + folderUri(inbox, keys[1]),
                                  "good  " + folderUri(inbox, keys[2]),
                                  "junk  " + folderUri(inbox, keys[3]),
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
  EXPECT_EQ(sandbox::startedCompanions(box.events).size(), 1u) << "launched once, then found";
}

// ---- The capture as the companion receives it ----------------------------------------------
//
// The host's filter form (tested on its own in the host's mail tests) arrives unchanged: 8-bit
// text decoded to UTF-8, attachments left out.

struct CaptureCase {
  const char* name;
  std::string message;
  std::string capture;
};

const std::vector<CaptureCase> kCaptureCases = {
    {"eightBit",
     "From: b@example.org\nSubject: Caf\xe9 au lait\nMIME-Version: 1.0\n"
     "Content-Type: text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: 8bit\n\n"
     "Cr\xe8me br\xfbl\xe9"
     "e\n",
     "From: b@example.org\nSubject: Caf\xc3\xa9 au lait\nMIME-Version: 1.0\n"
     "Content-Type: text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: 8bit\n\n"
     "Cr\xc3\xa8me br\xc3\xbbl\xc3\xa9"
     "e\n"},
    {"attachments",
     "From: c@example.org\nSubject: Report\nMIME-Version: 1.0\n"
     "Content-Type: multipart/mixed; boundary=\"m1\"\n\n"
     "--m1\nContent-Type: text/plain; charset=us-ascii\n\nSee attached.\n"
     "--m1\nContent-Type: application/pdf; name=\"report.pdf\"\n"
     "Content-Disposition: attachment; filename=\"report.pdf\"\nContent-Transfer-Encoding: "
     "base64\n\n"
     "JVBERi0xLjQKJcfsj6IK\n"
     "--m1\nContent-Type: text/plain\nContent-Disposition: attachment; filename=\"notes.txt\"\n\n"
     "not in the body\n--m1--\n",
     "From: c@example.org\nSubject: Report\nMIME-Version: 1.0\n"
     "Content-Type: multipart/mixed; boundary=\"m1\"\n\nSee attached."},
};

using Captures = EndToEndTest;

TEST_F(Captures, TheCompanionReceivesTheFilterFormByteForByte) {
  installCompanion();
  std::string mbox;
  for (const CaptureCase& c : kCaptureCases)
    mbox += (mbox.empty() ? "" : "\n") +
            std::string("From x@example.org Mon Jan  1 00:00:00 2024\n") + c.message;
  path inbox = writeMail("Kinds", mbox);

  ProcessRun run = mailhost({"classify", inbox.string()});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  std::vector<std::string> received = messagesReceived();
  ASSERT_EQ(received.size(), kCaptureCases.size());
  for (std::size_t i = 0; i < received.size(); ++i)
    EXPECT_EQ(received[i], kCaptureCases[i].capture) << "case " << kCaptureCases[i].name;
}

} // namespace
