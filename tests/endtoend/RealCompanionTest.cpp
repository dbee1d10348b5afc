// The host, the plug-in and the real Quellbark application with its bogofilter engine, launched
// by the plug-in through Launch Services. (Training it and then telling spam from ham is the
// delivery filter's, the native host's and Thunderbird's end-to-end tests'.)
#include "EndToEnd.h"

#include <csignal>
#include <unistd.h>

using namespace endtoend;

namespace {

class RealCompanion : public EndToEndTest {
protected:
  RealCompanion() : environment(installRealQuellbark()) {}

  std::vector<std::string> environment;
};

// Launched by the plug-in, Quellbark holds none of mailhost's streams: a pipe that reads
// mailhost's output and errors ends with mailhost, and Quellbark's log goes to its own file.
TEST_F(RealCompanion, LaunchedItLogsToItsOwnFileAndAPipeOnTheHostEnds) {
  path inbox = writeMail("Inbox", mboxOf(kSpamWords, 1));
  path build = sandbox::buildDirectory();
  std::vector<std::string> command = {"/bin/sh",
                                      "-c",
                                      "\"$@\" 2>&1 | cat",
                                      "sh",
                                      (build / "bin/mailhost").string(),
                                      "--profile",
                                      profile.string(),
                                      "--plugin",
                                      (build / "lib/QuellbarkPlugIn.so").string(),
                                      "classify",
                                      inbox.string()};
  std::vector<std::string> env = box.environment();
  env.insert(env.end(), environment.begin(), environment.end());
  env.push_back("QUELLBARK_BOGOFILTER=" + (box.root / "no-such-bogofilter").string());

  // A full log from earlier runs is moved aside before the first new line.
  path log = box.home / ".local/state/Quellbark/Quellbark.log";
  std::string earlier(1024 * 1024, 'x');
  sandbox::writeFile(log, earlier, fs::perms::owner_read | fs::perms::owner_write);

  ProcessRun run = sandbox::runToEnd(command, env, box.root);
  // The pipe's status is cat's. Without its engine Quellbark cannot score: not verified.
  EXPECT_EQ(run.exitCode, 0) << run.out;
  // The results come before the problems, though stderr is written unbuffered.
  std::size_t summary = run.out.find("1 message: 0 junk, 0 good, 1 not verified");
  EXPECT_NE(summary, std::string::npos) << run.out;
  EXPECT_LT(summary, run.out.find("mailhost: 1 message not verified")) << run.out;
  std::vector<path> registered;
  for (const auto& entry : fs::directory_iterator(box.runtime / "AppleEvents"))
    if (entry.path().extension() == ".plist")
      registered.push_back(entry.path());
  EXPECT_EQ(registered.size(), 1u) << "Quellbark was launched and still runs";

  EXPECT_EQ(sandbox::readFile(log.string() + ".1"), earlier);
  EXPECT_NE(sandbox::readFile(log).find("Quellbark: the spam engine (bogofilter) is missing"),
            std::string::npos);
  EXPECT_EQ(run.out.find("the spam engine"), std::string::npos) << run.out;
  EXPECT_EQ(fs::status(log).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::status(log.parent_path()).permissions(), fs::perms::owner_all);
}

} // namespace
