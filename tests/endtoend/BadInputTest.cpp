// Mail that is not what it should be, through the whole path: a truncated mbox, an empty
// message, a folder that is not there, and one very large message. Nothing crashes, every
// problem is named and the rest is classified. (Parsing and decoding are the host's own tests.)
#include "EndToEnd.h"

using namespace endtoend;

namespace {

using BadInput = EndToEndTest;

struct FolderCase {
  const char* folder;
  std::string contents;
  std::vector<std::string> captures; // what the companion receives, message by message
  std::vector<bool> unreadable;      // which of them the host could not read
};

const std::vector<FolderCase> kFolders = {
    // The second message stops inside its first header line: no header block, no message.
    // Its delivery still opens and stops, so the plug-in passes on an empty capture.
    {"Truncated",
     "From a\nSubject: whole\n\nfine\n\nFrom b\nSubj",
     {"Subject: whole\n\nfine\n", ""},
     {false, true}},
    // An empty message has no header fields: the listener still writes its one ": " line.
    {"EmptyMessage",
     "From a\n\nFrom b\nSubject: after\n\nx\n",
     {": \n\n", "Subject: after\n\nx\n"},
     {false, false}},
};

TEST_F(BadInput, BrokenFoldersAreClassifiedWhereTheyCanBe) {
  installCompanion();
  replies({"score=shor:10"});
  std::vector<std::string> arguments = {"classify", "--json"};
  std::vector<std::string> expectedCaptures;
  for (const FolderCase& c : kFolders) {
    arguments.push_back(writeMail(c.folder, c.contents).string());
    expectedCaptures.insert(expectedCaptures.end(), c.captures.begin(), c.captures.end());
  }
  arguments.insert(arguments.begin() + 3, (mail / "Missing").string());

  ProcessRun run = mailhost(arguments);
  EXPECT_EQ(run.exitCode, 1) << "problems were met: " << run.err;
  EXPECT_EQ(messagesReceived(), expectedCaptures);

  Json report = Json::parse(run.out);
  std::size_t index = 0;
  std::vector<std::string> expectedErrors = {"cannot read folder " + (mail / "Missing").string()};
  for (const FolderCase& c : kFolders) {
    for (bool unreadable : c.unreadable) {
      const Json& m = report["messages"].at(index++);
      // A message the host could not read has no verdict, whatever the plug-in said of it.
      EXPECT_EQ(m["verdict"], unreadable ? "unclassified" : "good") << m.dump();
      EXPECT_EQ(m.contains("error"), unreadable) << m.dump();
      if (unreadable)
        expectedErrors.push_back("cannot read message " + m["uri"].get<std::string>());
    }
  }
  EXPECT_EQ(index, report["messages"].size());
  ASSERT_EQ(report["errors"].size(), expectedErrors.size()) << report["errors"].dump();
  for (std::size_t i = 0; i < expectedErrors.size(); ++i)
    EXPECT_TRUE(report["errors"][i].get<std::string>().starts_with(expectedErrors[i]))
        << report["errors"][i];
}

// 50 MB of body: the companion records the 'Mess' parameter by length and SHA-256.
TEST_F(BadInput, AFiftyMegabyteMessageArrivesIntact) {
  installCompanion();
  replies({"score=shor:60"});
  std::string headers = "Subject: very large\nFrom: big@example.org\n";
  std::string body;
  body.reserve(50u << 20);
  for (int n = 0; body.size() < (50u << 20); ++n)
    body += "line " + std::to_string(n) + " of a message that keeps going and going\n";
  path file = writeMail("big.eml", headers + "\n" + body);
  std::string capture = headers + "\n" + body;

  ProcessRun run = mailhost({"classify", file.string()}, {"SCRIPTED_COMPANION_HEX_LIMIT=4096"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "junk  " + fileUri(file) + "\n1 messages: 1 junk, 0 good, 0 not classified\n");
  std::vector<Json> received = events();
  ASSERT_EQ(received.size(), 1u);
  const Json* message = parameter(received[0], "Mess");
  ASSERT_NE(message, nullptr);
  EXPECT_EQ((*message)["length"], capture.size());
  EXPECT_EQ((*message)["sha256"], sha256Of(capture));
}

} // namespace
