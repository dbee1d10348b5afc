// Messages from mail files to the companion and verdicts back, through mailhost, the bundle and
// the real transport: batches in order, a message that vanishes in the
// middle of a batch, and the capture exactly as the companion receives it.
#include "EndToEnd.h"

#include <future>
#include <thread>

using namespace endtoend;

namespace {

using Batches = EndToEndTest;

// The plug-in's log lines that show how a batch moves: the request, the one listener, each
// stream started, each capture's first line and each score.
std::vector<std::string> batchProgress(const std::string& err) {
  std::vector<std::string> shown;
  for (const std::string& line : linesOf(err)) {
    if (!line.starts_with(kLogPrefix))
      continue;
    std::string text = line.substr(kLogPrefix.size());
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

// The message is gone by the time its turn comes: its delivery opens and stops with a failure,
// and the plug-in hands on what it captured (nothing). The host names the message it could not
// read; the rest of the batch is classified from its own bytes.
TEST_F(Batches, AMessageThatVanishesMidBatchIsNamedAndTheBatchGoesOn) {
  installCompanion();
  replies({"delay=1500 score=shor:10", "score=shor:10"});
  std::vector<std::string> sent;
  for (int i = 1; i <= 4; ++i) {
    sent.push_back("Subject: maildir " + std::to_string(i) + "\n\nbody\n");
    writeMail("Box/cur/" + std::to_string(i) + ".host:2,S", sent.back());
  }
  path folder = mail / "Box";

  auto running = std::async(std::launch::async, [&] {
    return mailhost({"classify", "--json", folder.string()});
  });
  // The companion writes the first event down before it delays its answer; the second message
  // is streamed only after that answer.
  while (events().empty() &&
         running.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready) {
  }
  fs::remove(mail / "Box/cur/2.host:2,S");
  ProcessRun run = running.get();

  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(messagesReceived(), (std::vector<std::string>{sent[0], "", sent[2], sent[3]}));
  Json report = Json::parse(run.out);
  ASSERT_EQ(report["messages"].size(), 4u);
  for (int i = 0; i < 4; ++i) {
    const Json& m = report["messages"][i];
    EXPECT_EQ(m["uri"], folderUri(folder, std::to_string(i + 1) + ".host"));
    EXPECT_EQ(m["verdict"], "good");
    EXPECT_EQ(m.contains("error"), i == 1) << m.dump();
  }
  ASSERT_EQ(report["errors"].size(), 1u);
  EXPECT_TRUE(report["errors"][0].get<std::string>().starts_with("cannot read message " +
                                                                 folderUri(folder, "2.host")))
      << report["errors"][0];
}

// ---- The capture as the companion receives it ----------------------------------------------
//
// Each expectation is written from the message itself and the host's filter form: one line per
// header field ("Name: value" and a line feed; values unfolded and decoded to UTF-8), an empty
// line, then the body as shown (text and HTML parts decoded to UTF-8, parts joined by the
// host's separator, attachments left out).

struct CaptureCase {
  const char* name;
  std::string message;
  std::string capture;
};

const std::string kPartSeparator = "<BR><HR WIDTH=\"90%\" SIZE=4><BR>";

const std::vector<CaptureCase> kCaptureCases = {
    {"plain",
     "From: Alice <alice@example.org>\nTo: bob@example.org\nSubject: Plain hello\n"
     "Date: Mon, 1 Jan 2024 10:00:00 +0000\nMessage-ID: <p1@example.org>\n\nLine one\nLine two\n",
     "From: Alice <alice@example.org>\nTo: bob@example.org\nSubject: Plain hello\n"
     "Date: Mon, 1 Jan 2024 10:00:00 +0000\nMessage-ID: <p1@example.org>\n\nLine one\nLine two\n"},
    {"html",
     "From: shop@example.com\nSubject: Offer\nMIME-Version: 1.0\n"
     "Content-Type: text/html; charset=us-ascii\n\n<html><body><p>Cheap "
     "<b>pills</b></p></body></html>\n",
     "From: shop@example.com\nSubject: Offer\nMIME-Version: 1.0\n"
     "Content-Type: text/html; charset=us-ascii\n\n<html><body><p>Cheap "
     "<b>pills</b></p></body></html>\n"},
    {"multipart",
     "From: a@example.org\nSubject: Both\nMIME-Version: 1.0\n"
     "Content-Type: multipart/alternative; boundary=\"b1\"\n\nPreamble\n"
     "--b1\nContent-Type: text/plain; charset=utf-8\n\nPlain part\n"
     "--b1\nContent-Type: text/html; charset=utf-8\n\n<p>HTML part</p>\n--b1--\nEpilogue\n",
     "From: a@example.org\nSubject: Both\nMIME-Version: 1.0\n"
     "Content-Type: multipart/alternative; boundary=\"b1\"\n\n"
     "Plain part" +
         kPartSeparator + "<p>HTML part</p>"},
    {"eightBit",
     "From: b@example.org\nSubject: Caf\xe9 au lait\nMIME-Version: 1.0\n"
     "Content-Type: text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: 8bit\n\n"
     "Cr\xe8me br\xfbl\xe9"
     "e\n",
     "From: b@example.org\nSubject: Caf\xc3\xa9 au lait\nMIME-Version: 1.0\n"
     "Content-Type: text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: 8bit\n\n"
     "Cr\xc3\xa8me br\xc3\xbbl\xc3\xa9"
     "e\n"},
    {"encodedWords",
     "From: =?ISO-8859-1?Q?Andr=E9?= <andre@example.org>\n"
     "Subject: =?UTF-8?B?w4lsw6lnYW50?= and\n more\nMIME-Version: 1.0\n"
     "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n\n"
     "Soft=\nbreak =C3=A9t=C3=A9\n",
     "From: Andr\xc3\xa9 <andre@example.org>\nSubject: \xc3\x89l\xc3\xa9gant and more\n"
     "MIME-Version: 1.0\nContent-Type: text/plain; charset=utf-8\n"
     "Content-Transfer-Encoding: quoted-printable\n\nSoftbreak \xc3\xa9t\xc3\xa9\n"},
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
