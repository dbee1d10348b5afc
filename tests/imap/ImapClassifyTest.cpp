// Classifying and marking IMAP mail: the plug-in streams it through the imap message service,
// the verdicts become keywords on the server, junk moves to the junk folder (with MOVE, and by
// COPY, \Deleted and UID EXPUNGE where the server offers no MOVE), nothing is marked read, and
// what the user has judged already is left alone.
#include "ImapTestSupport.h"

using namespace imaptest;

namespace {

class ImapClassify : public ImapHostTest, public testing::WithParamInterface<bool> {
protected:
  ImapClassify() : ImapHostTest(dovecot::ServerOptions{GetParam()}) {}
};

TEST_P(ImapClassify, VerdictsBecomeKeywordsAndJunkMoves) {
  ASSERT_EQ(addAccount().exitCode, 0);
  std::string spam = message("cheap pills", "Buy now.\r\n");
  std::uint32_t spamUid = server.deliver("INBOX", spam);
  std::uint32_t hamUid = server.deliver("INBOX", message("agenda"));
  std::uint32_t judgedUid = server.deliver("INBOX", message("judged"));
  server.user({"flag", "INBOX", std::to_string(judgedUid), "+$NotJunk"});
  replies({"score=shor:100", "score=shor:0"});

  ProcessRun run = mailhost({"classify", folderUrl()});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(endtoend::linesOf(run.out),
            (std::vector<std::string>{"junk\t" + messageUri("INBOX", spamUid) + "\t",
                                      "good\t" + messageUri("INBOX", hamUid) + "\t",
                                      "2 messages: 1 junk, 1 good, 0 not classified"}));
  // The companion got the message as the server holds it; the judged one never went there.
  ASSERT_EQ(messagesReceived().size(), 2u);
  EXPECT_NE(messagesReceived()[0].find("Buy now."), std::string::npos);

  Json inbox = folder("INBOX"), junk = folder("Junk");
  ASSERT_EQ(inbox.size(), 2u) << inbox.dump();
  EXPECT_EQ(inbox[0]["uid"], hamUid);
  EXPECT_TRUE(hasFlag(inbox[0], "$NotJunk"));
  EXPECT_EQ(inbox[1]["uid"], judgedUid);
  ASSERT_EQ(junk.size(), 1u) << junk.dump();
  EXPECT_TRUE(hasFlag(junk[0], "$Junk"));
  for (const Json& m : {inbox[0], inbox[1], junk[0]})
    EXPECT_FALSE(hasFlag(m, "\\Seen")) << m.dump();

  // Judged mail is not classified again.
  ProcessRun again = mailhost({"classify", folderUrl()});
  EXPECT_EQ(again.out, "0 messages: 0 junk, 0 good, 0 not classified\n") << again.err;
  EXPECT_EQ(messagesReceived().size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Server, ImapClassify, testing::Values(true, false),
                         [](const testing::TestParamInfo<bool>& param) {
                           return param.param ? "WithMove" : "WithoutMove";
                         });

using ImapMessages = ImapHostTest;

// A message of several megabytes streams whole; bytes that are no message are reported by URI,
// get no keyword (the plug-in's "good" for them is no verdict) and stay in the folder.
TEST_F(ImapMessages, HugeAndMalformedMessages) {
  ASSERT_EQ(addAccount().exitCode, 0);
  std::string body;
  for (int line = 0; body.size() < 12u * 1024 * 1024; ++line)
    body += "line " + std::to_string(line) + " of a long message\r\n";
  std::uint32_t hugeUid = server.deliver("INBOX", message("huge", body));
  std::uint32_t badUid = server.deliver("INBOX", "this is not a header line\r\nnor this\r\n");
  replies({"score=shor:0"});

  ProcessRun run = mailhost({"classify", "--json", folderUrl()});
  EXPECT_EQ(run.exitCode, 1);
  Json report = Json::parse(run.out);
  ASSERT_EQ(report["messages"].size(), 2u) << run.out;
  EXPECT_FALSE(report["messages"][0].contains("error")) << run.out;
  EXPECT_TRUE(report["messages"][1].contains("error")) << run.out;
  EXPECT_EQ(report["errors"],
            Json::array({"cannot read message " + messageUri("INBOX", badUid) + ": " +
                         report["messages"][1]["error"].get<std::string>()}));
  ASSERT_FALSE(messagesReceived().empty());
  EXPECT_NE(messagesReceived()[0].find("of a long message"), std::string::npos);

  Json inbox = folder("INBOX");
  ASSERT_EQ(inbox.size(), 2u);
  EXPECT_EQ(inbox[0]["uid"], hugeUid);
  EXPECT_TRUE(hasFlag(inbox[0], "$NotJunk"));
  EXPECT_EQ(inbox[1]["flags"], Json::array()) << inbox[1].dump();
}

// A folder of more messages than the listing reads at once, with a large gap between its UIDs
// and every kind of message to leave out, written straight into the server's Maildir (UIDs from
// its uidlist, flags and keywords from the file names). Quellbark fails at once, so the run
// stops and reports every listed message as left out, in the order listed.
TEST_F(ImapMessages, ListsLargeSparseFoldersExactly) {
  ASSERT_EQ(addAccount().exitCode, 0);
  const fs::path home = server.root / "mail" / server.userName;
  const fs::path maildir = home / ".Many";
  for (const char* sub : {"cur", "new", "tmp"})
    fs::create_directories(maildir / sub);
  sandbox::writeFile(maildir / "dovecot-keywords", "0 $Junk\n1 $NotJunk\n");
  std::string uidlist = "3 V1234 N600000\n";
  std::vector<std::string> expected;
  std::uint32_t uid = 0;
  for (int i = 1; i <= 2300; ++i) {
    uid = i == 1201 ? 500000 : uid + 1;
    // $Junk (a), $NotJunk (b, also in another case), \Deleted (T), or some other flag.
    std::string flags = i % 7 == 0 ? "a" : i % 11 == 0 ? "Sb" : i % 13 == 0 ? "T" : "S";
    if (i % 5 == 0 && flags == "S")
      flags = "FS";
    if (flags.find_first_of("abT") == std::string::npos)
      expected.push_back(messageUri("Many", uid));
    const std::string base = "1700000000.M" + std::to_string(i) + "P1.test";
    uidlist += std::to_string(uid) + " :" + base + "\n";
    sandbox::writeFile(maildir / "cur" / (base + ":2," + flags), message("many"));
  }
  sandbox::writeFile(maildir / "dovecot-uidlist", uidlist);
  ASSERT_EQ(std::system(("chown -R dovecot:dovecot " + home.string()).c_str()), 0);
  // Lower case keywords match too: the user's client spells them as it likes.
  server.user({"flag", "Many", "500001", "+$notjunk"});
  expected.erase(std::find(expected.begin(), expected.end(), messageUri("Many", 500001)));
  replies({"errn=-50", "errn=-50", "errn=-50"});

  ProcessRun run = mailhost({"classify", "--json", folderUrl("Many")});
  EXPECT_EQ(run.exitCode, 3) << run.err;
  Json report = Json::parse(run.out);
  std::vector<std::string> listed;
  for (const Json& message : report["messages"])
    listed.push_back(message["uri"]);
  EXPECT_EQ(listed, expected);
}

// A verdict after a failed exchange with the spam filter is no verdict: no keyword, no move.
TEST_F(ImapMessages, AFailedExchangeLeavesTheMessageAlone) {
  ASSERT_EQ(addAccount().exitCode, 0);
  std::uint32_t failed = server.deliver("INBOX", message("failed"));
  server.deliver("INBOX", message("spam"));
  replies({"errn=-50 score=shor:100", "score=shor:100"});
  ProcessRun run = mailhost({"classify", folderUrl()});
  EXPECT_EQ(run.exitCode, 3) << run.err;
  EXPECT_NE(run.out.find("unverified\t" + messageUri("INBOX", failed) + "\t"), std::string::npos)
      << run.out;
  Json inbox = folder("INBOX");
  ASSERT_EQ(inbox.size(), 1u);
  EXPECT_EQ(inbox[0]["flags"], Json::array());
  EXPECT_EQ(folder("Junk").size(), 1u);
}

// The user's verdict on one IMAP message trains the companion and is set on the server; the
// message is fetched without being marked read.
TEST_F(ImapMessages, MarkTrainsAndSetsTheKeyword) {
  ASSERT_EQ(addAccount().exitCode, 0);
  std::uint32_t uid = server.deliver("INBOX", message("spammy"));
  replies({"ok"});
  ProcessRun mark = mailhost({"mark", "junk", messageUri("INBOX", uid)});
  EXPECT_EQ(mark.exitCode, 0) << mark.err;
  EXPECT_EQ(mark.out, "junk\t" + messageUri("INBOX", uid) + "\t\n");
  ASSERT_EQ(events().size(), 1u);
  Json inbox = folder("INBOX");
  ASSERT_EQ(inbox.size(), 1u);
  EXPECT_TRUE(hasFlag(inbox[0], "$Junk"));
  EXPECT_FALSE(hasFlag(inbox[0], "\\Seen"));

  ProcessRun missing = mailhost({"mark", "good", messageUri("INBOX", uid + 10)});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_NE(missing.err.find("holds no message " + std::to_string(uid + 10)), std::string::npos)
      << missing.err;
}

} // namespace
