// The mailhost program with the real plug-in bundle, run as a process: classify, mark and list
// from the command line, their output and exit codes, and folders left as they were. Without
// the companion application the plug-in reports every message as good.
#include "TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

class MailhostCliTest : public ::testing::Test {
protected:
  MailhostCliTest() {
    const char* build = std::getenv("QB_BUILD_DIR");
    program = std::string(build ? build : ".") + "/bin/mailhost";
    ::setenv("CFFIXED_USER_HOME", (dir / "home").c_str(), 1);
    ::setenv("CF_USER_NOTIFICATION_LOG", (dir / "notices.log").c_str(), 1);
  }

  Outcome mailhost(std::vector<std::string> args) {
    args.insert(args.begin(), {program, "--profile", (dir / "profile").string()});
    std::vector<char*> argv;
    for (std::string& arg : args)
      argv.push_back(arg.data());
    argv.push_back(nullptr);
    std::string outFile = (dir / "out").string(), errFile = (dir / "err").string();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    pid_t pid = 0;
    Outcome run;
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) == 0) {
      int status = 0;
      ::waitpid(pid, &status, 0);
      run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    posix_spawn_file_actions_destroy(&actions);
    run.out = readFile(outFile);
    run.err = readFile(errFile);
    return run;
  }

  TempDir dir;
  std::string program;
};

} // namespace

TEST_F(MailhostCliTest, ClassifyMarkAndListAFolder) {
  std::string mbox = "From a\nSubject: one\n\nfirst\n\nFrom b\nSubject: two\n\nsecond\n";
  dir.write("mail/Inbox", mbox);
  std::string root = (dir / "mail").string();
  std::string first = "mailbox-message://nobody@Local%20Folders/Inbox#0";
  std::string second = "mailbox-message://nobody@Local%20Folders/Inbox#28";

  Outcome classify = mailhost({"classify", "--mail-root", root, root + "/Inbox"});
  EXPECT_EQ(classify.status, 0) << classify.err;
  EXPECT_EQ(classify.out, "good  " + first + "\ngood  " + second +
                              "\n2 messages: 0 junk, 2 good, 0 not classified\n");

  Outcome mark = mailhost({"mark", "junk", "--mail-root", root, second});
  EXPECT_EQ(mark.status, 0) << mark.err;
  EXPECT_EQ(mark.out, "junk  " + second + "\n");

  Outcome list = mailhost({"list", "--json"});
  ASSERT_EQ(list.status, 0) << list.err;
  nlohmann::json statuses = nlohmann::json::parse(list.out);
  ASSERT_EQ(statuses.size(), 2u);
  EXPECT_EQ(statuses[0]["uri"], first);
  EXPECT_EQ(statuses[0]["score"], 0);
  EXPECT_EQ(statuses[0]["origin"], "plugin");
  EXPECT_EQ(statuses[1]["uri"], second);
  EXPECT_EQ(statuses[1]["score"], 100);
  EXPECT_EQ(statuses[1]["origin"], "user");

  Outcome filtered = mailhost({"list", "--mail-root", root, root + "/Inbox"});
  EXPECT_EQ(filtered.out, "0    plugin  " + first + "\n100  user    " + second + "\n");

  EXPECT_EQ(readFile(dir / "mail/Inbox"), mbox);
  struct stat info {};
  ASSERT_EQ(::stat((dir / "profile/junkstatus.sqlite").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST_F(MailhostCliTest, UnreadableFoldersAreNamedAndTheRestIsClassified) {
  dir.write("box/cur/1.a:2,S", "Subject: m\n\nmaildir\n");
  std::string missing = (dir / "missing").string();
  Outcome run =
      mailhost({"classify", "--json", missing, (dir / "box").string(), dir.path().string()});
  EXPECT_EQ(run.status, 1);
  nlohmann::json report = nlohmann::json::parse(run.out);
  EXPECT_EQ(report["summary"]["good"], 1);
  EXPECT_EQ(report["messages"][0]["verdict"], "good");
  ASSERT_EQ(report["errors"].size(), 2u);
  EXPECT_NE(report["errors"][0].get<std::string>().find(missing), std::string::npos);
  EXPECT_NE(report["errors"][1].get<std::string>().find("not a Maildir"), std::string::npos);
  EXPECT_NE(run.err.find("mailhost: cannot read folder " + missing + ": no such file"),
            std::string::npos);
}
