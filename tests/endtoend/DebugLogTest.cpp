// The plug-in's console at its most talkative (ThunderbirdLogLevel 10): every line of one
// classification and of one training, in order, as mailhost's stderr shows them.
#include "EndToEnd.h"

#include <regex>

using namespace endtoend;

namespace {

// A line of stderr: the text itself, or a pattern where the platform prints pointers.
struct Expected {
  std::string text;
  bool pattern = false;
};

Expected line(const std::string& text) {
  return {std::string(kLogPrefix) + text};
}

std::string escapeForRegex(const std::string& text) {
  static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
  return std::regex_replace(text, special, R"(\$&)");
}

std::string hexOf(std::string_view bytes) {
  return sandbox::hexOf(std::vector<unsigned char>(bytes.begin(), bytes.end()));
}

// "<label><CFData 0x... [0x...]>{length = N, capacity = C, bytes = 0x...}" for the capture: up
// to 24 bytes whole, longer ones as the first 16, " ... " and the last 8.
Expected dataLine(const std::string& label, const std::string& capture) {
  std::string bytes = capture.size() <= 24 ? hexOf(capture)
                                           : hexOf(capture.substr(0, 16)) + " ... " +
                                                 hexOf(capture.substr(capture.size() - 8));
  return {escapeForRegex(std::string(kLogPrefix) + label) +
              R"(<CFData 0x[0-9a-f]+ \[0x[0-9a-f]+\]>)" +
              escapeForRegex("{length = " + std::to_string(capture.size()) + ", capacity = ") +
              "[0-9]+" + escapeForRegex(", bytes = 0x" + bytes + "}"),
          true};
}

// The capture between its two rules, as Latin-1 text: bytes above 127 print as \u00XX.
std::vector<Expected> captureBlock(const std::string& capture) {
  std::string shown;
  for (unsigned char c : capture) {
    if (c < 128) {
      shown += char(c);
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", c);
      shown += escape;
    }
  }
  std::vector<Expected> lines = {line("==================================")};
  std::vector<std::string> captureLines = linesOf(shown);
  lines.push_back(line(captureLines.at(0)));
  for (std::size_t i = 1; i < captureLines.size(); ++i)
    lines.push_back({captureLines[i]});
  lines.push_back(line("=================================="));
  return lines;
}

std::vector<Expected> streamLines(bool attachment) {
  std::vector<Expected> lines = {
      line("QuellbarkTokenStreamListener::QuellbarkTokenStreamListener"),
      line("nsBayesianFilter::streamMessage()"),
      line("QuellbarkTokenStreamListener::OnStartRequest"),
      line("QuellbarkTokenStreamListener::ProcessHeaders"),
  };
  if (attachment)
    lines.push_back(line("QuellbarkTokenStreamListener::HandleAttachment"));
  for (const char* text : {"QuellbarkTokenStreamListener::OnEndAllAttachments",
                           "QuellbarkTokenStreamListener::OnEndMsgHeaders",
                           "QuellbarkTokenStreamListener::OnDataAvailable",
                           "QuellbarkTokenStreamListener::OnStopRequest"})
    lines.push_back(line(text));
  return lines;
}

void expectLines(const std::string& err, const std::vector<Expected>& expected) {
  std::vector<std::string> actual = linesOf(err);
  for (std::size_t i = 0; i < std::max(actual.size(), expected.size()); ++i) {
    if (i >= actual.size()) {
      ADD_FAILURE() << "missing line " << i << ": " << expected[i].text;
    } else if (i >= expected.size()) {
      ADD_FAILURE() << "unexpected line " << i << ": " << actual[i];
    } else if (expected[i].pattern) {
      EXPECT_TRUE(std::regex_match(actual[i], std::regex(expected[i].text)))
          << "line " << i << ": " << actual[i] << "\n  does not match " << expected[i].text;
    } else {
      EXPECT_EQ(actual[i], expected[i].text) << "line " << i;
    }
  }
}

// The two data lines of one message name the same object.
std::string dataObject(const std::string& line) {
  std::smatch found;
  return std::regex_search(line, found, std::regex("<CFData 0x[0-9a-f]+")) ? found.str() : "";
}

using DebugLog = EndToEndTest;

TEST_F(DebugLog, EveryLineOfAClassification) {
  installCompanion();
  replies({"score=shor:73"});
  box.setLogLevel(10);
  path file = writeMail("offer.eml",
                        "Subject: Caf\xc3\xa9 offer\nFrom: a@example.org\nMIME-Version: 1.0\n"
                        "Content-Type: multipart/mixed; boundary=\"x\"\n\n--x\n"
                        "Content-Type: text/plain; charset=utf-8\n\nThe body of the offer\n--x\n"
                        "Content-Type: application/octet-stream; name=\"a.bin\"\n"
                        "Content-Transfer-Encoding: base64\n\nAAEC\n--x--\n");
  std::string capture = "Subject: Caf\xc3\xa9 offer\nFrom: a@example.org\nMIME-Version: 1.0\n"
                        "Content-Type: multipart/mixed; boundary=\"x\"\n\nThe body of the offer";

  ProcessRun run = mailhost({"classify", file.string()});
  EXPECT_EQ(run.exitCode, 0);
  std::vector<Expected> expected = {line("nsBayesianFilter::ClassifyMessages()")};
  for (auto part : {streamLines(true), captureBlock(capture)})
    expected.insert(expected.end(), part.begin(), part.end());
  expected.push_back(dataLine("classify message: ", capture));
  expected.push_back(dataLine("scoring: ", capture));
  expected.push_back(line("score: 73"));
  expected.push_back(line("QuellbarkTokenStreamListener::~QuellbarkTokenStreamListener"));
  expectLines(run.err, expected);

  std::vector<std::string> actual = linesOf(run.err);
  auto at = [&](std::string_view start) {
    for (const std::string& l : actual)
      if (l.starts_with(std::string(kLogPrefix) + std::string(start)))
        return dataObject(l);
    return std::string("none");
  };
  EXPECT_EQ(at("classify message: "), at("scoring: "));
}

TEST_F(DebugLog, EveryLineOfATraining) {
  installCompanion();
  box.setLogLevel(10);
  std::string message = "Subject: train me\nTo: b@example.org\n\nplain words to learn\n";
  path file = writeMail("spam.eml", message);

  ProcessRun run = mailhost({"mark", "junk", file.string()});
  EXPECT_EQ(run.exitCode, 0);
  std::vector<Expected> expected = {line("nsBayesianFilter::SetMessageClassification()")};
  for (auto part : {streamLines(false), captureBlock(message)})
    expected.insert(expected.end(), part.begin(), part.end());
  expected.push_back(line("QuellbarkMessageTrainer::processMessageData"));
  expected.push_back(dataLine("trainAsSpam: ", message));
  expected.push_back(line("QuellbarkTokenStreamListener::~QuellbarkTokenStreamListener"));
  expectLines(run.err, expected);
}

} // namespace
