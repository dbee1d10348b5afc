// IMAP accounts: what `account add` writes, where the password is, and the one line a user gets
// for each way the server cannot be used.
#include "ImapTestSupport.h"

#include <sys/stat.h>

using namespace imaptest;

namespace {

using ImapAccounts = ImapHostTest;

TEST_F(ImapAccounts, AddWritesTheHostsPreferencesAndNoPassword) {
  ProcessRun add = addAccount();
  ASSERT_EQ(add.exitCode, 0) << add.err;
  std::string prefs = sandbox::readFile(profile / "prefs.js");
  for (const std::string& line :
       {std::string(R"(user_pref("mail.server.server1.type", "imap");)"),
        std::string(R"(user_pref("mail.server.server1.hostname", "127.0.0.1");)"),
        "user_pref(\"mail.server.server1.port\", " + std::to_string(server.tlsPort) + ");",
        std::string(R"(user_pref("mail.server.server1.userName", "alice");)"),
        std::string(R"(user_pref("mail.server.server1.socketType", 3);)")})
    EXPECT_NE(prefs.find(line), std::string::npos) << line << "\n" << prefs;
  EXPECT_EQ(prefs.find(server.password), std::string::npos);

  // Without a keyring a password typed in goes to a file of mode 0600 in the profile.
  ProcessRun typed = sandbox::runToEnd(
      {"/bin/sh", "-c",
       "printf 'typed-secret\\n' | exec \"$0\" --profile \"$1\" --plugin \"$2\" account add "
       "--password-stdin --security plain imap://bob@127.0.0.1:1143",
       (sandbox::buildDirectory() / "bin/mailhost").string(), profile.string(),
       (sandbox::buildDirectory() / "lib/QuellbarkPlugIn.so").string()},
      box.environment(), box.root);
  ASSERT_EQ(typed.exitCode, 0) << typed.err;
  fs::path stored = profile / "passwords" / "server2";
  EXPECT_EQ(sandbox::readFile(stored), "typed-secret\n");
  struct stat st {};
  ASSERT_EQ(stat(stored.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_EQ(sandbox::readFile(profile / "prefs.js").find("typed-secret"), std::string::npos);
}

struct FailureCase {
  const char* name;
  std::vector<std::string> accountArguments;
  const char* expectedInLine;
};

// STARTTLS checks the certificate as TLS does; --insecure takes one that is not trusted; each
// way of not getting in gives one line on stderr and no verdict.
TEST_F(ImapAccounts, SecurityAndEachFailureAsOneClearLine) {
  server.deliver("INBOX", message("hello"));
  replies({"score=shor:0"});
  for (std::vector<std::string> security :
       {std::vector<std::string>{"--security", "starttls", "--ca-file",
                                 server.certificate.string()},
        std::vector<std::string>{"--security", "tls", "--insecure"}}) {
    fs::remove(profile / "prefs.js");
    ASSERT_EQ(addAccount(security).exitCode, 0);
    ProcessRun run = mailhost({"classify", folderUrl()});
    EXPECT_EQ(run.exitCode, 0) << security.back() << ": " << run.err;
  }

  server.deliver("INBOX", message("unjudged"));
  const std::vector<FailureCase> cases = {
      {"untrusted certificate", {"--security", "tls"}, "is not trusted"},
      {"wrong password", {"--security", "plain"}, "refused the login of alice"},
      {"loose password file", {"--security", "plain"}, "must be a file of yours with mode 0600"},
      {"server down", {"--security", "plain"}, "cannot connect to the IMAP server"},
  };
  for (const FailureCase& c : cases) {
    fs::remove(profile / "prefs.js");
    sandbox::writeFile(passwordFile, server.password + "\n", fs::perms(0600));
    if (std::string(c.name) == "wrong password")
      sandbox::writeFile(passwordFile, "not-the-password\n", fs::perms(0600));
    ASSERT_EQ(addAccount(c.accountArguments).exitCode, 0) << c.name;
    if (std::string(c.name) == "loose password file")
      fs::permissions(passwordFile, fs::perms(0644));
    if (std::string(c.name) == "server down")
      server.stop();
    ProcessRun run = mailhost({"classify", folderUrl()});
    EXPECT_EQ(run.exitCode, 1) << c.name;
    EXPECT_EQ(run.out, "0 messages: 0 junk, 0 good, 0 not classified\n") << c.name;
    std::vector<std::string> lines = endtoend::linesOf(run.err);
    ASSERT_EQ(lines.size(), 1u) << c.name << ": " << run.err;
    EXPECT_NE(lines[0].find(c.expectedInLine), std::string::npos) << c.name << ": " << lines[0];
    EXPECT_EQ(run.err.find(server.password), std::string::npos);
  }
}

} // namespace
