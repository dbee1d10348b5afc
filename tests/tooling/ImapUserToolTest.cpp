// scripts/imap-user.py, the mail client of the demo and the benchmarks, against a private Dovecot:
// each message's label found again by its bytes whatever the server does with line ends, and
// the count of messages with a verdict that the demo waits on.
#include "PrivateDovecot.h"
#include "Shell.h"
#include "TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>

namespace {

class ImapUserTool : public ::testing::Test {
protected:
  ShellOutcome client(const std::string& arguments) {
    writeFile(temp.path() / "password", server.password + "\n");
    return runShell("python3 " QB_SOURCE_DIR "/scripts/imap-user.py --port " +
                    std::to_string(server.tlsPort) + " --user " + server.userName +
                    " --password-file " + (temp.path() / "password").string() + " --ca-file " +
                    server.certificate.string() + " " + arguments);
  }

  dovecot::PrivateDovecot server;
  testsupport::TempDir temp;
};

TEST_F(ImapUserTool, LabelsComeBackByTheMessagesBytesAndPlacedMailIsCounted) {
  // LF and CRLF line ends, 8-bit bytes, and the same message twice under one label.
  const std::vector<std::pair<std::string, std::string>> mail = {
      {"spam", "Subject: pills\n\nbuy now \xe9\xff\n"},
      {"ham", "Subject: agenda\r\n\r\nmeeting at ten\r\n"},
      {"ham", "Subject: agenda\r\n\r\nmeeting at ten\r\n"},
      {"spam", "Subject: offer\n\nyou won\n"},
  };
  std::string list;
  for (std::size_t i = 0; i < mail.size(); ++i) {
    std::filesystem::path file = temp.path() / ("m" + std::to_string(i));
    writeFile(file, mail[i].second);
    list += mail[i].first + " " + file.string() + "\n";
  }
  writeFile(temp.path() / "list", list);
  std::string map = (temp.path() / "labels.json").string();
  ShellOutcome appended = client("append INBOX " + map + " <" + (temp.path() / "list").string());
  ASSERT_EQ(appended.status, 0) << appended.out;
  EXPECT_EQ(appended.out, "4\n");

  // Nothing has a verdict yet: the wait gives up once nothing changes for a second.
  ShellOutcome waited = client("wait 4 1");
  EXPECT_EQ(waited.status, 1) << waited.out;
  EXPECT_EQ(waited.out, "0 4\n");

  // As the watch leaves them: the spam moved to Junk, both hams marked good; one spam untouched.
  server.user({"move", "INBOX", "1", "Junk"});
  server.user({"flag", "INBOX", "2", "+$NotJunk"});
  server.user({"flag", "INBOX", "3", "+$NotJunk"});
  waited = client("wait 3 1");
  EXPECT_EQ(waited.status, 0) << waited.out;
  EXPECT_EQ(waited.out, "3 3\n");

  std::string results = (temp.path() / "results.json").string();
  ShellOutcome tallied = client("tally " + map + " " + results);
  ASSERT_EQ(tallied.status, 0) << tallied.out;
  std::map<std::string, int> cells;
  nlohmann::json tally = nlohmann::json::parse(readFile(results));
  for (const nlohmann::json& m : tally["messages"])
    ++cells[m["folder"].get<std::string>() + m["verdict"].get<std::string>()];
  EXPECT_EQ(cells,
            (std::map<std::string, int>{
                {"Junk/spam/junk", 1}, {"INBOX/ham/good", 2}, {"INBOX/spam/unclassified", 1}}));
}

} // namespace
