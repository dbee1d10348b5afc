// `mailhost watch` as a user runs it: new mail classified as it arrives, the user's verdicts in
// another client learnt, its place kept over a restart, a server that goes away and comes back
// costing nothing, and SIGTERM ending it.
#include "ImapTestSupport.h"

#include <chrono>
#include <csignal>
#include <sys/wait.h>
#include <thread>

using namespace imaptest;

namespace {

class ImapWatch : public ImapHostTest {
protected:
  explicit ImapWatch(dovecot::ServerOptions options = {}) : ImapHostTest(options) {}
  ~ImapWatch() override { stopWatch(); }

  void startWatch(const std::string& interval = "2") {
    ++runs;
    out = box.root / ("watch-" + std::to_string(runs) + ".out");
    err = box.root / ("watch-" + std::to_string(runs) + ".err");
    fs::path build = sandbox::buildDirectory();
    pid = sandbox::spawnProcess({(build / "bin/mailhost").string(), "--profile", profile.string(),
                                 "--plugin", (build / "lib/QuellbarkPlugIn.so").string(), "watch",
                                 "--interval", interval},
                                box.environment(), out, err);
    ASSERT_TRUE(waitFor("watching alice@127.0.0.1")) << sandbox::readFile(err);
  }

  // SIGTERM, and the exit status (-1 when it had to be killed).
  int stopWatch() {
    if (pid <= 0)
      return -1;
    ::kill(pid, SIGTERM);
    int status = 0;
    for (int i = 0; i < 400 && ::waitpid(pid, &status, WNOHANG) != pid; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (::waitpid(pid, &status, WNOHANG) == 0) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, &status, 0);
      status = -1;
    }
    pid = -1;
    return status == -1 ? -1 : WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  // Waits (at most 30 s) until the watch's output holds this line, or its errors a line that
  // ends with this text.
  bool waitFor(const std::string& line, bool onStderr = false) {
    for (int i = 0; i < 600; ++i) {
      for (const std::string& seen : endtoend::linesOf(sandbox::readFile(onStderr ? err : out)))
        if (onStderr ? seen.ends_with(line) : seen == line)
          return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
  }

  std::vector<std::string> outputLines() { return endtoend::linesOf(sandbox::readFile(out)); }

  pid_t pid = -1;
  int runs = 0;
  fs::path out, err;
};

// On a server that offers everything the watch uses, and on one that offers no IDLE (the watch
// polls), no CONDSTORE (it lists every message's flags) and no MOVE.
class ImapWatchServers : public ImapWatch, public testing::WithParamInterface<bool> {
protected:
  ImapWatchServers() : ImapWatch(dovecot::ServerOptions{GetParam(), GetParam(), GetParam()}) {}
};

INSTANTIATE_TEST_SUITE_P(Server, ImapWatchServers, testing::Values(true, false),
                         [](const testing::TestParamInfo<bool>& param) {
                           return param.param ? "WithExtensions" : "WithoutExtensions";
                         });

TEST_P(ImapWatchServers, ClassifiesArrivalsLearnsFromTheUserAndResumes) {
  ASSERT_EQ(addAccount({"--security", "plain"}).exitCode, 0);
  server.deliver("INBOX", message("before"));
  replies({"score=shor:100", "score=shor:0", "ok", "ok", "score=shor:0"});
  startWatch();

  std::uint32_t spam = server.deliver("INBOX", message("pills"));
  ASSERT_TRUE(waitFor("junk  " + messageUri("INBOX", spam))) << sandbox::readFile(err);
  std::uint32_t ham = server.deliver("INBOX", message("agenda"));
  ASSERT_TRUE(waitFor("good  " + messageUri("INBOX", ham))) << sandbox::readFile(err);
  Json junk = folder("Junk");
  ASSERT_EQ(junk.size(), 1u);
  std::uint32_t spamInJunk = junk[0]["uid"];

  // The user's phone: the ham is junk after all, the spam is not.
  server.user({"move", "INBOX", std::to_string(ham), "Junk"});
  ASSERT_TRUE(waitFor("learnt junk  " + messageUri("Junk", spamInJunk + 1)))
      << sandbox::readFile(out) << sandbox::readFile(err);
  server.user({"flag", "Junk", std::to_string(spamInJunk), "+$NotJunk"});
  ASSERT_TRUE(waitFor("learnt good  " + messageUri("Junk", spamInJunk)))
      << sandbox::readFile(out) << sandbox::readFile(err);
  EXPECT_EQ(stopWatch(), 0);
  EXPECT_EQ(events().size(), 4u); // two messages classified, two verdicts learnt
  EXPECT_EQ(outputLines().size(), 5u) << sandbox::readFile(out);

  // A restart repeats nothing and goes on with what arrives.
  startWatch();
  std::uint32_t later = server.deliver("INBOX", message("later"));
  ASSERT_TRUE(waitFor("good  " + messageUri("INBOX", later))) << sandbox::readFile(err);
  EXPECT_EQ(stopWatch(), 0);
  EXPECT_EQ(outputLines(), (std::vector<std::string>{"watching alice@127.0.0.1",
                                                     "good  " + messageUri("INBOX", later)}));
  EXPECT_EQ(events().size(), 5u);
  for (const char* name : {"INBOX", "Junk"})
    for (const Json& m : folder(name))
      EXPECT_FALSE(hasFlag(m, "\\Seen")) << m.dump();
  // Nothing went wrong, except that a loaded server may drop a connection, which the watch says
  // once and takes up again.
  for (const std::string& line : endtoend::linesOf(sandbox::readFile(err)))
    EXPECT_NE(line.find(" again"), std::string::npos) << line;
}

TEST_F(ImapWatch, MailWhoseExchangeFailedIsTriedAgain) {
  ASSERT_EQ(addAccount({"--security", "plain"}).exitCode, 0);
  replies({"errn=-50 score=shor:100", "score=shor:100"});
  startWatch();
  std::uint32_t uid = server.deliver("INBOX", message("twice"));
  ASSERT_TRUE(waitFor("junk  " + messageUri("INBOX", uid))) << sandbox::readFile(err);
  EXPECT_EQ(stopWatch(), 0);
  EXPECT_EQ(outputLines().size(), 2u) << sandbox::readFile(out); // no verdict the first time
  EXPECT_EQ(events().size(), 2u);
  EXPECT_EQ(folder("Junk").size(), 1u);
}

// Mail that arrives while the watch is busy with earlier mail is not announced again once it
// waits: it must not sit there until the next change or the end of the wait.
TEST_F(ImapWatch, MailArrivingDuringAPassIsNotLeftForTheNextWait) {
  ASSERT_EQ(addAccount({"--security", "plain"}).exitCode, 0);
  replies({"delay=1500 score=shor:0", "score=shor:0"});
  startWatch("1000");
  std::uint32_t first = server.deliver("INBOX", message("first"));
  for (int i = 0; i < 600 && events().empty(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  ASSERT_EQ(events().size(), 1u) << sandbox::readFile(err);
  std::uint32_t second = server.deliver("INBOX", message("second"));
  ASSERT_TRUE(waitFor("good  " + messageUri("INBOX", first))) << sandbox::readFile(err);
  EXPECT_TRUE(waitFor("good  " + messageUri("INBOX", second))) << sandbox::readFile(err);
  EXPECT_EQ(stopWatch(), 0);
}

TEST_F(ImapWatch, AServerThatGoesAwayAndComesBackLosesNothing) {
  ASSERT_EQ(addAccount({"--security", "plain"}).exitCode, 0);
  replies({"score=shor:0"});
  startWatch();
  server.stop();
  ASSERT_TRUE(waitFor("127.0.0.1:" + std::to_string(server.plainPort) +
                          " while ending a wait for "
                          "new mail (IDLE); trying again",
                      true))
      << sandbox::readFile(err);
  server.start();
  ASSERT_TRUE(waitFor("connected to alice@127.0.0.1 again", true)) << sandbox::readFile(err);
  std::uint32_t uid = server.deliver("INBOX", message("after the outage"));
  ASSERT_TRUE(waitFor("good  " + messageUri("INBOX", uid))) << sandbox::readFile(err);
  EXPECT_EQ(stopWatch(), 0);
  // Told once per outage, however many tries it took.
  EXPECT_EQ(endtoend::linesOf(sandbox::readFile(err)).size(), 2u) << sandbox::readFile(err);
}

} // namespace
