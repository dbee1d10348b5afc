// Quellbark.app as the plug-in meets it: a registered application answering events over the
// real transport, with the real bogofilter behind it.
#include "Sandbox.h"
#include "TestSupport.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>

namespace fs = std::filesystem;

namespace quellbark::test {
namespace {

struct Reply {
  std::string errn;
  std::string score;
};

bool waitFor(auto condition) {
  for (int i = 0; i < 500 && !condition(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}

class AppTest : public ::testing::Test {
protected:
  // One runtime folder and home for the whole program: the platform reads them once.
  static void SetUpTestSuite() {
    static TempDir shared;
    fs::create_directories(shared.path() / "home");
    ::setenv("XDG_RUNTIME_DIR", shared.path().c_str(), 1);
    ::setenv("CFFIXED_USER_HOME", (shared.path() / "home").c_str(), 1);
  }

  void SetUp() override {
    ::setenv("QUELLBARK_DATA_DIR", (mFolder.path() / "data").c_str(), 1);
    ::unsetenv("QUELLBARK_BOGOFILTER");
  }

  void TearDown() override {
    if (mApp > 0) {
      stopApp();
    }
  }

  static fs::path build() { return sandbox::buildDirectory(); }
  static fs::path app() { return build() / "Quellbark.app/Contents/MacOS/Quellbark"; }

  pid_t spawnApp(const std::string& logName) {
    return sandbox::spawnProcess({app().string()}, testsupport::currentEnvironment(), {},
                                 mFolder.path() / logName);
  }

  void startApp() {
    mApp = spawnApp("app.log");
    ASSERT_TRUE(sandbox::waitUntilRegistered(mApp)) << appLog();
  }

  // SIGTERM; returns the exit status.
  int stopApp() {
    ::kill(mApp, SIGTERM);
    int status = -1;
    if (!waitFor([&] { return ::waitpid(mApp, &status, WNOHANG) == mApp; })) {
      ::kill(mApp, SIGKILL);
      ::waitpid(mApp, nullptr, 0);
    }
    mApp = -1;
    return status;
  }

  std::string appLog() { return sandbox::readFile(mFolder.path() / "app.log"); }

  // Sends `event` as the plug-in does; without `withMessage` no 'Mess' at all.
  static Reply sendOne(const std::string& event, const std::string& message,
                       const std::string& separator = "", bool withMessage = true) {
    const OSType signature = FOUR_CHAR_CODE("Qbrk");
    const auto read = [](const AppleEvent& reply, AEKeyword key) {
      SInt16 value = 0;
      return AEGetParamPtr(&reply, key, typeSInt16, nullptr, &value, 2, nullptr) == noErr
                 ? std::to_string(value)
                 : "none";
    };
    AppleEvent request = {typeNull, nullptr}, reply = {typeNull, nullptr};
    OSStatus status = AEBuildAppleEvent(
        signature, sandbox::codeOf(event), typeApplSignature, &signature, sizeof signature,
        kAutoGenerateReturnID, kAnyTransactionID, &request, nullptr,
        "'----':'null'(),bDec:bool(@),bRFC:bool(@),sSEP:'TEXT'(@)", 1, 1, separator.c_str());
    if (status == noErr && withMessage)
      status = AEPutParamPtr(&request, FOUR_CHAR_CODE("Mess"), typeChar, message.data(),
                             Size(message.size()));
    if (status == noErr)
      status = AESendMessage(&request, &reply, kAEWaitReply, kAEDefaultTimeout);
    EXPECT_EQ(status, noErr) << event;
    Reply result{read(reply, keyErrorNumber), read(reply, keyDirectObject)};
    AEDisposeDesc(&request);
    AEDisposeDesc(&reply);
    return result;
  }

  ProgramRun runApp(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), app().string());
    return runProgram(arguments, std::chrono::seconds(30));
  }

  TempDir mFolder;
  pid_t mApp = -1;
};

std::string joined(std::string (*make)(int), int count, const std::string& separator) {
  std::string all = make(0);
  for (int i = 1; i < count; ++i) {
    all += separator + make(i);
  }
  return all;
}

TEST_F(AppTest, ScoresAndLearnsOverTheTransport) {
  startApp();
  // Ten of each, in one event each: enough for a new user's engine to call mail junk.
  std::string const sep = "\n=====\n";
  const Reply spam = sendOne("addS", joined(spamMessage, 10, sep), sep);
  const Reply good = sendOne("addG", joined(goodMessage, 10, sep), sep);
  EXPECT_EQ(spam.errn + spam.score + good.errn + good.score, "nonenonenonenone");

  // A successful reply carries a score and no errn.
  const Reply spamScore = sendOne("Qscr", spamMessage(100));
  const Reply goodScore = sendOne("Qscr", goodMessage(100));
  ASSERT_EQ(spamScore.errn, "none");
  ASSERT_NE(spamScore.score, "none");
  ASSERT_NE(goodScore.score, "none");
  EXPECT_GE(std::stoi(spamScore.score), 50);
  EXPECT_LT(std::stoi(goodScore.score), 50);
  // Several messages score as the most spam-like of them.
  EXPECT_EQ(sendOne("Qscr", goodMessage(100) + sep + spamMessage(100), sep).score, spamScore.score);

  const ProgramRun status = runApp({"status"});
  EXPECT_EQ(status.exit.code, 0) << status.out;
  EXPECT_NE(status.out.find("Learned:   10 spam, 10 good"), std::string::npos) << status.out;
  EXPECT_NE(status.out.find("bogofilter version"), std::string::npos);

  // SIGTERM: a clean exit, unregistered, and what was learned last is kept.
  EXPECT_EQ(sendOne("addS", spamMessage(11)).errn, "none");
  const pid_t pid = mApp;
  const int exit = stopApp();
  EXPECT_TRUE(WIFEXITED(exit) && WEXITSTATUS(exit) == 0) << exit << appLog();
  const auto running = sandbox::runningApps();
  EXPECT_EQ(std::find(running.begin(), running.end(), pid), running.end()) << "unregistered";
  EXPECT_NE(runApp({"status"}).out.find("Learned:   11 spam"), std::string::npos);
}

// Learning is answered once the learner has the message, before bogofilter has even taken the
// word list, as under load (here an engine slow to start): status asks the running instance to
// commit first, so it counts every message learned, also right after the replies.
TEST_F(AppTest, StatusCountsLearningTheRunningInstanceHasNotCommitted) {
  fs::path const engine = mFolder.path() / "bogofilter";
  std::ofstream(engine) << "#!/bin/sh\nsleep 0.3\nexec bogofilter \"$@\"\n";
  fs::permissions(engine, fs::perms::owner_all);
  ::setenv("QUELLBARK_BOGOFILTER", engine.c_str(), 1);
  startApp();
  // A change of verdict commits the spam and starts a new learner for the good one.
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(sendOne("addS", spamMessage(i)).errn, "none");
  }
  ASSERT_EQ(sendOne("addG", goodMessage(0)).errn, "none");
  const ProgramRun status = runApp({"status"});
  EXPECT_NE(status.out.find("Learned:   3 spam, 1 good"), std::string::npos) << status.out;
  EXPECT_EQ(status.err, "");
}

// A message of words no other message has: it scores near the middle until learned.
std::string unseenMessage(int client) {
  // Not even the subject is shared: another client's learning must not move this score.
  std::string text = "Subject: qs" + std::to_string(client) + "note\n\n";
  for (int i = 0; i < 40; ++i) {
    text += "qx" + std::to_string(client) + "w" + std::to_string(i) + " ";
  }
  return text + "\n";
}

// Three client processes at once, each learning its own message between scores: every client
// gets its answers in the order it asked, and each score sees the learning asked before it.
TEST_F(AppTest, ConcurrentClientsAreAnsweredInOrderAndSeeTheirOwnLearning) {
  startApp();
  std::string const sep = "\n=====\n";
  ASSERT_EQ(sendOne("addS", joined(spamMessage, 10, sep), sep).errn, "none");
  ASSERT_EQ(sendOne("addG", joined(goodMessage, 10, sep), sep).errn, "none");
  constexpr int kClients = 3;
  constexpr int kRounds = 3;
  std::vector<ProgramRun> runs(kClients);
  {
    std::vector<std::jthread> clients;
    for (int c = 0; c < kClients; ++c) {
      clients.emplace_back([&, c] {
        std::vector<std::string> argv{(build() / "bin/quellbark_test_client").string()};
        for (int round = 0; round < kRounds; ++round) {
          std::string const own = unseenMessage(c * kRounds + round);
          for (const char* event : {"Qscr", "addS", "Qscr", "addG", "Qscr"}) {
            argv.insert(argv.end(), {event, own});
          }
          argv.insert(argv.end(), {"Qscr", spamMessage(c + 20), "Qscr", goodMessage(c + 20)});
        }
        runs[c] = runProgram(argv, std::chrono::seconds(60));
      });
    }
  }
  for (int c = 0; c < kClients; ++c) {
    std::istringstream lines(runs[c].out);
    for (int round = 0; round < kRounds; ++round) {
      std::string errn[7], score[7];
      for (int i = 0; i < 7; ++i) {
        lines >> errn[i] >> score[i];
        ASSERT_EQ(errn[i], "none") << "client " << c << " round " << round << " reply " << i;
      }
      SCOPED_TRACE("client " + std::to_string(c) + " round " + std::to_string(round));
      EXPECT_EQ(score[1] + score[3], "nonenone");          // learn replies carry no score
      EXPECT_GT(std::stoi(score[2]), std::stoi(score[0])); // learned as spam
      EXPECT_LT(std::stoi(score[4]), std::stoi(score[2])); // then moved to good
      EXPECT_GE(std::stoi(score[5]), 50);
      EXPECT_LT(std::stoi(score[6]), 50);
    }
  }
  const ProgramRun status = runApp({"status"});
  EXPECT_NE(
      status.out.find("Learned:   10 spam, " + std::to_string(10 + kClients * kRounds) + " good"),
      std::string::npos)
      << status.out;
}

// The CPUs allowed to a thread or process, as the kernel lists them ("0-1", "1").
std::string cpusOf(const fs::path& proc) {
  std::istringstream status(sandbox::readFile(proc / "status"));
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("Cpus_allowed_list:")) {
      return line.substr(line.find_first_not_of(" \t", line.find(':') + 1));
    }
  }
  return "?";
}

// A client that keeps its exchanges on one CPU has Quellbark's bogofilter answer there; once the
// client runs anywhere again, so does it, and no thread of Quellbark's is left pinned.
TEST_F(AppTest, AnEventIsAnsweredOnTheCpusItsSenderRunsOn) {
  cpu_set_t all;
  ASSERT_EQ(::sched_getaffinity(0, sizeof all, &all), 0);
  if (CPU_COUNT(&all) < 2) {
    GTEST_SKIP() << "one CPU: nothing to tell apart";
  }
  startApp();
  const fs::path app = "/proc/" + std::to_string(mApp);
  const auto bogofilter = [&] {
    std::string children;
    for (const auto& task : fs::directory_iterator(app / "task")) {
      children += sandbox::readFile(task.path() / "children");
    }
    std::istringstream pids(children);
    std::string pid;
    pids >> pid;
    return fs::path("/proc") / pid;
  };
  const auto threadsOn = [&](const std::string& cpus) {
    int count = 0;
    for (const auto& task : fs::directory_iterator(app / "task")) {
      count += cpusOf(task.path()) == cpus;
    }
    return count;
  };
  const std::string everywhere = cpusOf(app);

  cpu_set_t one;
  CPU_ZERO(&one);
  for (int cpu = CPU_SETSIZE - 1; cpu >= 0; --cpu) {
    if (CPU_ISSET(cpu, &all)) {
      CPU_SET(cpu, &one); // the last: not where an unpinned process starts
      break;
    }
  }
  ASSERT_EQ(::sched_setaffinity(0, sizeof one, &one), 0);
  const std::string pinned = cpusOf("/proc/self");
  const Reply first = sendOne("Qscr", goodMessage(1));
  ::sched_setaffinity(0, sizeof all, &all);
  ASSERT_EQ(first.errn, "none");
  EXPECT_EQ(cpusOf(bogofilter()), pinned);
  EXPECT_EQ(cpusOf(app), everywhere) << "the thread that accepts connections stays free";

  ASSERT_EQ(sendOne("Qscr", goodMessage(2)).errn, "none");
  EXPECT_EQ(cpusOf(bogofilter()), everywhere);
  EXPECT_EQ(threadsOn(pinned), 0);
}

TEST_F(AppTest, EngineFailuresBecomeErrnAndServingGoesOn) {
  fs::path const engine = mFolder.path() / "bogofilter";
  ::setenv("QUELLBARK_BOGOFILTER", engine.c_str(), 1);
  startApp();
  struct Case {
    const char* event;
    bool withMessage;
    const char* errn;
  } const cases[] = {
      {"Qscr", true, "1"}, {"addS", true, "1"}, {"addG", true, "1"}, {"Qscr", false, "-1701"}};
  for (const auto& c : cases) {
    const Reply r = sendOne(c.event, spamMessage(1), "", c.withMessage);
    EXPECT_EQ(r.errn, c.errn) << c.event;
    EXPECT_EQ(r.score, "none") << c.event;
  }
  EXPECT_NE(appLog().find(engine.string()), std::string::npos) << appLog();
}

TEST_F(AppTest, LoglevelCommandWritesThePluginsPreference) {
  auto level = [] {
    CFPreferencesAppSynchronize(CFSTR("com.quellbark.Quellbark"));
    Boolean valid = 0;
    CFIndex const value = CFPreferencesGetAppIntegerValue(CFSTR("ThunderbirdLogLevel"),
                                                          CFSTR("com.quellbark.Quellbark"), &valid);
    return valid ? std::optional<long>(value) : std::nullopt;
  };
  ASSERT_EQ(runApp({"loglevel", "20"}).exit.code, 0);
  EXPECT_EQ(level(), 20);
  ASSERT_EQ(runApp({"loglevel", "-5"}).exit.code, 0);
  EXPECT_EQ(runApp({"loglevel"}).out, "-5\n");
  EXPECT_EQ(runApp({"loglevel", "loud"}).exit.code, 2);
  EXPECT_EQ(runApp({"loglevel"}).out, "-5\n") << "a bad value changes nothing";
}

// The user's verdicts are what counts: a message marked twice counts once, and a reversed
// verdict moves it to the other class instead of leaving it in both.
TEST_F(AppTest, EachMessageCountsOnceInTheClassOfItsLastVerdict) {
  startApp();
  auto learned = [this] {
    std::string const out = runApp({"status"}).out;
    std::size_t const at = out.find("Learned:");
    return at == std::string::npos ? out : out.substr(at, out.find('\n', at) - at);
  };
  std::string const sep = "\n=====\n";
  std::string const message = spamMessage(1);
  EXPECT_EQ(sendOne("addS", message).errn, "none");
  EXPECT_EQ(sendOne("addS", message + sep + message, sep).errn, "none");
  EXPECT_EQ(learned(), "Learned:   1 spam, 0 good");
  EXPECT_EQ(sendOne("addG", message).errn, "none");
  EXPECT_EQ(sendOne("addG", message).errn, "none");
  EXPECT_EQ(learned(), "Learned:   0 spam, 1 good");
  // Back again within one batch, before anything was committed in between.
  EXPECT_EQ(sendOne("addS", message + sep + goodMessage(2), sep).errn, "none");
  EXPECT_EQ(sendOne("addG", goodMessage(2)).errn, "none");
  EXPECT_EQ(learned(), "Learned:   1 spam, 1 good");
  const auto counts = wordListCounts(mFolder.path() / "data");
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->spam + counts->good, 2) << "bogofilter's own counts agree";
  EXPECT_EQ(fs::status(mFolder.path() / "data/learned-messages.sqlite").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(AppTest, ASecondInstanceNamesTheFirstAndBadUsageExitsWith2) {
  startApp();
  const ProgramRun second = runApp({});
  EXPECT_EQ(second.exit.code, 0);
  EXPECT_EQ(second.err, "Quellbark: already running (pid " + std::to_string(mApp) + ")\n");
  EXPECT_NE(runApp({"status"}).out.find("Running:   yes (pid " + std::to_string(mApp) + ")"),
            std::string::npos);
  // Stopped, it would make every request wait for its timeout: status says so.
  ASSERT_EQ(::kill(mApp, SIGSTOP), 0);
  std::string const stopped = runApp({"status"}).out;
  ::kill(mApp, SIGCONT);
  EXPECT_NE(stopped.find("Running:   stopped (pid " + std::to_string(mApp) + ")"),
            std::string::npos)
      << stopped;
  // Launched anew, it hands over to the running one, and the launch succeeds.
  EXPECT_EQ(sandbox::launch(build() / "Quellbark.app", kLSLaunchNewInstance), noErr);
  EXPECT_EQ(sandbox::runningApps(), std::vector<pid_t>{mApp});
  stopApp();
  EXPECT_NE(runApp({"status"}).out.find("Running:   no"), std::string::npos);

  for (const std::vector<std::string>& bad :
       {std::vector<std::string>{"frobnicate"}, {"loglevel", "1", "2"}}) {
    const ProgramRun run = runApp(bad);
    EXPECT_EQ(run.exit.code, 2) << bad.front();
    EXPECT_TRUE(run.err.starts_with("Quellbark: ") && run.err.find('\n') + 1 == run.err.size())
        << run.err;
  }
  // Two started at the same moment: one serves, the other names it and ends.
  const pid_t pids[] = {spawnApp("first.log"), spawnApp("second.log")};
  int status = -1, ended = -1;
  ASSERT_TRUE(waitFor([&] {
    if (ended >= 0)
      return true;
    for (int i : {0, 1})
      if (::waitpid(pids[i], &status, WNOHANG) == pids[i])
        return ended = i, true;
    return false;
  }));
  mApp = pids[1 - ended];
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(sandbox::readFile(mFolder.path() / (ended == 0 ? "first.log" : "second.log")),
            "Quellbark: already running (pid " + std::to_string(mApp) + ")\n");
  EXPECT_EQ(sandbox::runningApps(), std::vector<pid_t>{mApp});
}

} // namespace
} // namespace quellbark::test
