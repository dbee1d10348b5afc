// Quellbark.app as the plug-in meets it: a registered application answering events over the
// real transport, with the real bogofilter behind it.
#include "Engine.h"
#include "Subprocess.h"
#include "TestMail.h"

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;
namespace fs = std::filesystem;

namespace quellbark::test {
namespace {

constexpr OSType kSignature = 0x5162726B; // 'Qbrk'

struct Reply {
  std::string errn;
  std::string score;
};

std::vector<Reply> parseReplies(std::string const& output) {
  std::vector<Reply> replies;
  std::istringstream lines(output);
  std::string line;
  while (std::getline(lines, line)) {
    std::size_t const space = line.find(" score=");
    if (line.starts_with("errn=") && space != std::string::npos) {
      replies.push_back({line.substr(5, space - 5), line.substr(space + 7)});
    }
  }
  return replies;
}

pid_t registeredQuellbark() {
  ProcessSerialNumber process = {0, kNoProcess};
  while (GetNextProcess(&process) == noErr) {
    ProcessInfoRec info = {};
    info.processInfoLength = sizeof info;
    pid_t pid = -1;
    if (GetProcessInformation(&process, &info) == noErr && info.processSignature == kSignature &&
        GetProcessPID(&process, &pid) == noErr) {
      return pid;
    }
  }
  return -1;
}

bool isRegistered(pid_t pid) {
  ProcessSerialNumber process = {0, kNoProcess};
  while (GetNextProcess(&process) == noErr) {
    ProcessInfoRec info = {};
    info.processInfoLength = sizeof info;
    pid_t processPid = -1;
    if (GetProcessInformation(&process, &info) == noErr && info.processSignature == kSignature &&
        GetProcessPID(&process, &processPid) == noErr && processPid == pid) {
      return true;
    }
  }
  return false;
}

class AppTest : public ::testing::Test {
protected:
  // One runtime folder and home for the whole program: the platform reads them once.
  static void SetUpTestSuite() {
    static TempFolder shared;
    fs::create_directories(shared.path() / "runtime");
    fs::permissions(shared.path() / "runtime", fs::perms::owner_all);
    fs::create_directories(shared.path() / "home");
    ::setenv("XDG_RUNTIME_DIR", (shared.path() / "runtime").c_str(), 1);
    ::setenv("CFFIXED_USER_HOME", (shared.path() / "home").c_str(), 1);
    ::setenv("HOME", (shared.path() / "home").c_str(), 1);
    sHome = shared.path() / "home";
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

  static fs::path build() { return std::getenv("QB_BUILD_DIR"); }
  static fs::path app() { return build() / "Quellbark.app" / "Contents" / "MacOS" / "Quellbark"; }

  void startApp() {
    fs::path const log = mFolder.path() / "app.log";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    std::string const path = app().string();
    char* args[] = {const_cast<char*>(path.c_str()), nullptr};
    ASSERT_EQ(::posix_spawn(&mApp, path.c_str(), &actions, nullptr, args, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    for (int i = 0; i < 500 && !isRegistered(mApp); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_TRUE(isRegistered(mApp)) << appLog();
  }

  // SIGTERM, and the exit status of the application.
  int stopApp() {
    ::kill(mApp, SIGTERM);
    int status = 0;
    for (int i = 0; i < 1000 && ::waitpid(mApp, &status, WNOHANG) == 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (::waitpid(mApp, &status, WNOHANG) == 0) {
      ::kill(mApp, SIGKILL);
      ::waitpid(mApp, &status, 0);
      status = -1;
    }
    mApp = -1;
    return status;
  }

  std::string appLog() {
    std::ifstream in(mFolder.path() / "app.log");
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  std::vector<Reply> send(std::string const& event, std::string const& message,
                          std::vector<std::string> options = {}) {
    fs::path const file = mFolder.path() / ("message-" + std::to_string(mSent++));
    std::ofstream(file, std::ios::binary) << message;
    std::vector<std::string> argv{(build() / "bin" / "quellbark-test-client").string(), event,
                                  file.string()};
    argv.insert(argv.end(), options.begin(), options.end());
    ProgramRun const run = runProgram(argv, std::chrono::seconds(60));
    EXPECT_TRUE(run.exit.succeeded()) << run.out << run.err;
    return parseReplies(run.out);
  }

  Reply sendOne(std::string const& event, std::string const& message,
                std::vector<std::string> options = {}) {
    std::vector<Reply> replies = send(event, message, std::move(options));
    EXPECT_EQ(replies.size(), 1u);
    return replies.empty() ? Reply{"?", "?"} : replies.front();
  }

  ProgramRun runApp(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), app().string());
    return runProgram(arguments, std::chrono::seconds(30));
  }

  static inline fs::path sHome;
  TempFolder mFolder;
  pid_t mApp = -1;
  int mSent = 0;
};

std::string joined(std::string (*make)(int), int count, std::string const& separator) {
  std::string all;
  for (int i = 0; i < count; ++i) {
    all += (i > 0 ? separator : "") + make(i);
  }
  return all;
}

TEST_F(AppTest, ScoresAndLearnsOverTheTransport) {
  startApp();
  Reply const untrained = sendOne("Qscr", spamMessage(100));
  EXPECT_EQ(untrained.errn, "none") << "a successful score reply carries no errn";
  ASSERT_NE(untrained.score, "none");
  EXPECT_LT(std::stoi(untrained.score), 50);

  // Ten of each in one event apiece: enough for a new user's engine to call mail junk.
  std::string const separator = "\n=====\n";
  Reply const spam =
      sendOne("addS", joined(spamMessage, 10, separator), {"--separator", separator});
  Reply const good =
      sendOne("addG", joined(goodMessage, 10, separator), {"--separator", separator});
  EXPECT_EQ(spam.errn, "none");
  EXPECT_EQ(spam.score, "none");
  EXPECT_EQ(good.errn, "none");

  Reply const spamScore = sendOne("Qscr", spamMessage(100));
  Reply const goodScore = sendOne("Qscr", goodMessage(100));
  ASSERT_NE(spamScore.score, "none");
  ASSERT_NE(goodScore.score, "none");
  EXPECT_GE(std::stoi(spamScore.score), 50);
  EXPECT_LT(std::stoi(goodScore.score), 50);

  // Several messages score as the most spam-like of them.
  Reply const both =
      sendOne("Qscr", goodMessage(100) + separator + spamMessage(100), {"--separator", separator});
  EXPECT_EQ(both.score, spamScore.score);

  ProgramRun const status = runApp({"status"});
  EXPECT_EQ(status.exit.code, 0) << status.out;
  EXPECT_NE(status.out.find("Learned:   10 spam, 10 good"), std::string::npos) << status.out;
  EXPECT_NE(status.out.find(mFolder.path() / "data" / "wordlist.db"), std::string::npos);
  EXPECT_NE(status.out.find("bogofilter version"), std::string::npos);
}

TEST_F(AppTest, TwoClientsAtOnceAreBothAnswered) {
  startApp();
  std::vector<Reply> first;
  std::vector<Reply> second;
  {
    std::jthread a([&] { first = send("Qscr", spamMessage(1), {"--repeat", "25"}); });
    std::jthread b([&] { second = send("addG", goodMessage(2), {"--repeat", "25"}); });
  }
  ASSERT_EQ(first.size(), 25u);
  ASSERT_EQ(second.size(), 25u);
  for (auto const& r : first) {
    EXPECT_EQ(r.errn, "none");
    EXPECT_NE(r.score, "none");
  }
  for (auto const& r : second) {
    EXPECT_EQ(r.errn, "none");
  }
}

TEST_F(AppTest, EngineFailuresBecomeErrnAndServingGoesOn) {
  fs::path const engine = mFolder.path() / "bogofilter";
  ::setenv("QUELLBARK_BOGOFILTER", engine.c_str(), 1);
  startApp();
  struct Case {
    char const* event;
    std::vector<std::string> options;
    std::string errn;
  } const cases[] = {
      {"Qscr", {}, "1"},
      {"addS", {}, "1"},
      {"addG", {}, "1"},
      {"Qscr", {"--no-message"}, "-1701"}, // no 'Mess' at all
  };
  for (auto const& c : cases) {
    Reply const r = sendOne(c.event, spamMessage(1), c.options);
    EXPECT_EQ(r.errn, c.errn) << c.event;
    EXPECT_EQ(r.score, "none") << c.event;
  }
  EXPECT_NE(appLog().find("bogofilter"), std::string::npos) << appLog();

  writeScript(engine, "exec /usr/bin/bogofilter \"$@\"");
  Reply const repaired = sendOne("Qscr", goodMessage(1));
  EXPECT_EQ(repaired.errn, "none");
  EXPECT_NE(repaired.score, "none");
}

TEST_F(AppTest, SigtermUnregistersAndKeepsWhatWasLearned) {
  startApp();
  pid_t const pid = mApp;
  EXPECT_EQ(sendOne("addS", spamMessage(1)).errn, "none");
  int const status = stopApp();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status << appLog();
  EXPECT_FALSE(isRegistered(pid));

  ProgramRun const report = runApp({"status"});
  EXPECT_NE(report.out.find("Learned:   1 spam, 0 good"), std::string::npos) << report.out;
}

TEST_F(AppTest, LaunchServicesFindsTheBundleBySignatureAndLaunchesIt) {
  ::setenv("LS_APPLICATION_PATH", build().c_str(), 1);
  CFURLRef found = nullptr;
  ASSERT_EQ(LSFindApplicationForInfo(kSignature, nullptr, nullptr, nullptr, &found), noErr);
  LSLaunchURLSpec spec{found, nullptr, nullptr, kLSLaunchDontSwitch, nullptr};
  OSStatus const launched = LSOpenFromURLSpec(&spec, nullptr);
  CFRelease(found);
  ::unsetenv("LS_APPLICATION_PATH");
  ASSERT_EQ(launched, noErr);

  pid_t const pid = registeredQuellbark();
  ASSERT_GT(pid, 0);
  Reply const r = sendOne("Qscr", goodMessage(3));
  EXPECT_EQ(r.errn, "none");
  ::kill(pid, SIGTERM); // not our child: wait for it to be gone
  for (int i = 0; i < 500 && ::kill(pid, 0) == 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_NE(::kill(pid, 0), 0);
  EXPECT_FALSE(isRegistered(pid));
}

TEST_F(AppTest, LoglevelCommandWritesThePluginsPreference) {
  auto read = [] {
    CFStringRef const key = CFSTR("ThunderbirdLogLevel");
    CFStringRef const domain = CFSTR("com.quellbark.Quellbark");
    CFPreferencesAppSynchronize(domain);
    Boolean valid = 0;
    CFIndex const value = CFPreferencesGetAppIntegerValue(key, domain, &valid);
    return valid ? std::optional<long>(value) : std::nullopt;
  };
  ASSERT_EQ(runApp({"loglevel", "20"}).exit.code, 0);
  EXPECT_EQ(read(), 20);
  EXPECT_TRUE(fs::exists(sHome / "Library" / "Preferences" / "com.quellbark.Quellbark.plist"));
  EXPECT_EQ(runApp({"loglevel"}).out, "20\n");

  ASSERT_EQ(runApp({"loglevel", "-5"}).exit.code, 0);
  EXPECT_EQ(runApp({"loglevel"}).out, "-5\n");
  EXPECT_NE(runApp({"loglevel", "loud"}).exit.code, 0);
  EXPECT_EQ(runApp({"loglevel"}).out, "-5\n") << "a bad value changes nothing";
}

} // namespace
} // namespace quellbark::test
