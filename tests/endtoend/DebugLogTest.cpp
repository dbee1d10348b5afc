// The plug-in's console at its most talkative (ThunderbirdLogLevel 10), as mailhost's stderr shows
// it: the entry lines of one classification and one training in their order, the capture between
// its rules, and the data lines (Core Foundation's description of the data, cut to its length).
#include "EndToEnd.h"

using namespace endtoend;

namespace {

// The plug-in's lines, a data line cut to its label and the length it shows.
std::vector<std::string> shownLines(const std::string& err) {
  std::vector<std::string> shown;
  for (std::string text : pluginLines(err)) {
    std::size_t data = text.find(": <CFData 0x");
    std::size_t length = text.find("{length = ");
    if (data != std::string::npos && length != std::string::npos)
      text = text.substr(0, data + 2) + text.substr(length, text.find(',', length) - length);
    shown.push_back(text);
  }
  return shown;
}

const std::string kRule = "==================================";

using DebugLog = EndToEndTest;

TEST_F(DebugLog, AClassificationAndATrainingLineByLine) {
  installCompanion();
  replies({"score=shor:73", "ok"});
  box.setLogLevel(10);
  std::string capture = "Subject: Caf\xc3\xa9 offer\nMIME-Version: 1.0\n"
                        "Content-Type: multipart/mixed; boundary=\"x\"\n\nThe body";
  path offer = writeMail("offer.eml", "Subject: Caf\xc3\xa9 offer\nMIME-Version: 1.0\n"
                                      "Content-Type: multipart/mixed; boundary=\"x\"\n\n--x\n"
                                      "Content-Type: text/plain\n\nThe body\n--x\n"
                                      "Content-Type: application/octet-stream\n\nAAEC\n--x--\n");
  const std::string length = "{length = " + std::to_string(capture.size());

  ProcessRun classify = mailhost({"classify", offer.string()});
  EXPECT_EQ(classify.exitCode, 0) << classify.err;
  // The capture is shown as Latin-1: the two bytes of the é are two characters.
  EXPECT_EQ(
      shownLines(classify.err),
      (std::vector<std::string>{
          "nsBayesianFilter::ClassifyMessages()",
          "QuellbarkTokenStreamListener::QuellbarkTokenStreamListener",
          "nsBayesianFilter::streamMessage()", "QuellbarkTokenStreamListener::OnStartRequest",
          "QuellbarkTokenStreamListener::ProcessHeaders",
          "QuellbarkTokenStreamListener::HandleAttachment",
          "QuellbarkTokenStreamListener::OnEndAllAttachments",
          "QuellbarkTokenStreamListener::OnEndMsgHeaders",
          "QuellbarkTokenStreamListener::OnDataAvailable",
          "QuellbarkTokenStreamListener::OnStopRequest", kRule, "Subject: Caf\\u00c3\\u00a9 offer",
          kRule, "classify message: " + length, "scoring: " + length, "score: 73",
          "QuellbarkTokenStreamListener::~QuellbarkTokenStreamListener"}));

  std::string lesson = "Subject: train me\n\nplain words to learn\n";
  ProcessRun mark = mailhost({"mark", "junk", writeMail("spam.eml", lesson).string()});
  EXPECT_EQ(mark.exitCode, 0) << mark.err;
  std::vector<std::string> training = shownLines(mark.err);
  ASSERT_GE(training.size(), 3u);
  EXPECT_EQ(training.front(), "nsBayesianFilter::SetMessageClassification()");
  EXPECT_EQ(
      std::vector<std::string>(training.end() - 3, training.end()),
      (std::vector<std::string>{"QuellbarkMessageTrainer::processMessageData",
                                "trainAsSpam: {length = " + std::to_string(lesson.size()),
                                "QuellbarkTokenStreamListener::~QuellbarkTokenStreamListener"}));
}

} // namespace
