// Quellbark: the spam filter the mail client's junk plug-in talks to.
//
//   Quellbark                 serve the plug-in's Apple Events until SIGTERM, SIGINT or 'quit'
//   Quellbark loglevel [N]    set (or show) the plug-in's log threshold
//   Quellbark status          the engine, the word list, what it has learned (also what the
//                             running instance has not yet committed), whether it runs
//   Quellbark --version
// Exit status 2 for every bad usage.
#include "AppIdentity.h"
#include "AppLog.h"
#include "CompanionServer.h"
#include "Engine.h"
#include "InstanceLock.h"
#include "Locations.h"
#include "LogLevelPreference.h"
#include "PrivateFolder.h"

#include <CLI/CLI.hpp>
#include <Carbon/Carbon.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

namespace quellbark {
namespace {

void quitOnSignal(int) {
  QuitApplicationEventLoop();
}

constexpr int kBadUsage = 2;

std::filesystem::path instanceLockFile(const EngineConfig& config) {
  return config.workRoot / "Quellbark.lock";
}

bool isRegistered(pid_t pid) {
  ProcessSerialNumber process{0, kNoProcess};
  while (GetNextProcess(&process) == noErr) {
    pid_t registered = 0;
    if (GetProcessPID(&process, &registered) == noErr && registered == pid) {
      return true;
    }
  }
  return false;
}

// Whether the instance holding the lock comes to serve: true once it has registered for Apple
// Events (or is still starting after as long as Launch Services waits for a launch), false when
// it lets go of the lock first, ending without having served.
bool waitUntilServing(pid_t holder, const std::filesystem::path& lockFile) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!isRegistered(holder)) {
    if (InstanceLock::runningInstance(lockFile) != holder) {
      return false;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

int serve() {
  AppLog::start(defaultStateFolder());
  EngineConfig config = EngineConfig::fromEnvironment();
  config.log = AppLog::line;
  if (!ensurePrivateFolder(config.workRoot)) {
    AppLog::line("cannot make the runtime folder " + config.workRoot.string() + " private");
    return 1;
  }
  // Taken before registering, so two started at once cannot both serve.
  std::filesystem::path const lockFile = instanceLockFile(config);
  InstanceLock instance(lockFile);
  for (;;) {
    InstanceLock::Outcome const outcome = instance.acquire();
    if (outcome == InstanceLock::Outcome::acquired) {
      break;
    }
    if (outcome == InstanceLock::Outcome::failed) {
      AppLog::line(instance.error());
      return 1;
    }
    // As opening an application that is already open: nothing to do, and no failure. Whoever
    // launched this one finds the running one registered once this one has ended. One that
    // was quitting lets go of the lock, and this one serves instead.
    if (waitUntilServing(instance.holder(), lockFile)) {
      AppLog::line("already running (pid " + std::to_string(instance.holder()) + ")");
      return 0;
    }
  }
  Engine engine(config);
  // Two busy classifiers per core (one per client being served, and a client's exchange spends
  // about half its time outside bogofilter): more would only wait for the processor.
  CompanionServer server(engine, std::max(4U, 2 * std::thread::hardware_concurrency()));
  if (const OSErr err = server.install(); err != noErr) {
    AppLog::line("cannot install the event handlers (error " + std::to_string(err) + ")");
    return 1;
  }
  struct sigaction action {};
  action.sa_handler = quitOnSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  RunApplicationEventLoop();
  // The loop returns at once, without a quit, when the application cannot register.
  return AEServerQuitRequested() ? 0 : 1;
}

int showLogLevel() {
  if (const std::optional<long> level = readLogLevel()) {
    std::printf("%ld\n", *level);
  } else {
    std::printf("not set (the plug-in logs errors only, as with 40)\n");
  }
  return 0;
}

int setLogLevel(long level) {
  if (!writeLogLevel(level)) {
    std::fprintf(stderr, "Quellbark: cannot write the preference %s of %s\n", kLogLevelKey,
                 kBundleIdentifier);
    return 1;
  }
  return 0;
}

// A stopped process (SIGSTOP, a debugger) still holds the lock and its registration, so the
// plug-in's requests wait for it until they time out.
bool isStopped(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  std::getline(stat, line);
  // "pid (name) state ...": the name may hold spaces and parentheses, the state follows the last.
  std::size_t const close = line.rfind(") ");
  return close != std::string::npos && close + 2 < line.size() &&
         (line[close + 2] == 'T' || line[close + 2] == 't');
}

// Asks the running instance, addressed by its signature, to commit what it has learned, so that
// the word list read next holds it. Empty when it did, or when none runs; else why not.
std::string commitRunningInstance() {
  constexpr long kTimeoutTicks = 5 * 60;
  AEAddressDesc address{typeNull, nullptr};
  AppleEvent request{typeNull, nullptr};
  AppleEvent reply{typeNull, nullptr};
  OSStatus err =
      AECreateDesc(typeApplSignature, &kQuellbarkSignature, sizeof kQuellbarkSignature, &address);
  if (err == noErr) {
    err = AECreateAppleEvent(kQuellbarkEventClass, kQuellbarkCommitEvent, &address,
                             kAutoGenerateReturnID, kAnyTransactionID, &request);
  }
  if (err == noErr) {
    err = AESendMessage(&request, &reply, kAEWaitReply, kTimeoutTicks);
  }
  std::string problem;
  SInt16 number = 0;
  if (err == procNotFound) {
    // None runs: the word list holds everything.
  } else if (err == errAETimeout) {
    problem = "no answer within " + std::to_string(kTimeoutTicks / 60) + " s";
  } else if (err != noErr) {
    problem = "error " + std::to_string(err);
  } else if (AEGetParamPtr(&reply, keyErrorNumber, typeSInt16, nullptr, &number, sizeof number,
                           nullptr) == noErr &&
             number != 0) {
    char reason[256] = {};
    Size size = 0;
    AEGetParamPtr(&reply, keyErrorString, typeChar, nullptr, reason, sizeof reason - 1, &size);
    problem = "error " + std::to_string(number);
    if (size > 0) {
      problem += ", " + std::string(reason, std::min<std::size_t>(size, sizeof reason - 1));
    }
  }
  AEDisposeDesc(&reply);
  AEDisposeDesc(&request);
  AEDisposeDesc(&address);
  return problem;
}

int printStatus() {
  EngineConfig config = EngineConfig::fromEnvironment();
  const pid_t running = InstanceLock::runningInstance(instanceLockFile(config));
  // A stopped instance answers nothing: waiting for it would only delay what follows.
  if (!(running && isStopped(running))) {
    if (const std::string problem = commitRunningInstance(); !problem.empty()) {
      std::fprintf(stderr,
                   "Quellbark: the running instance did not commit its learning (%s); the "
                   "counts may miss what it learned last\n",
                   problem.c_str());
    }
  }
  std::string lastProblem;
  config.log = [&lastProblem](const std::string& line) { lastProblem = line; };
  Engine engine(config);
  EngineStatus status = engine.status();
  // A running Quellbark holds the word list briefly while it commits what it learned.
  for (int attempt = 0; status.error == EngineError::wordListLocked && attempt < 30; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    status = engine.status();
  }
  if (status.error != EngineError::none && !lastProblem.empty()) {
    std::fprintf(stderr, "Quellbark: %s\n", lastProblem.c_str());
  }
  std::printf("Engine:    %s%s%s\n",
              status.bogofilter.empty() ? config.bogofilter.c_str() : status.bogofilter.c_str(),
              status.version.empty() ? "" : ", ", status.version.c_str());
  std::printf("Word list: %s\n", status.wordList.c_str());
  if (running) {
    if (isStopped(running)) {
      std::printf("Running:   stopped (pid %d): it answers nothing until continued (kill -CONT "
                  "%d)\n",
                  static_cast<int>(running), static_cast<int>(running));
    } else {
      std::printf("Running:   yes (pid %d)\n", static_cast<int>(running));
    }
  } else {
    std::printf("Running:   no\n");
  }
  if (status.error != EngineError::none) {
    std::printf("Error %d:  %s\n", static_cast<int>(status.error), describe(status.error));
    return 1;
  }
  std::printf("Learned:   %lld spam, %lld good\n", static_cast<long long>(status.learned.spam),
              static_cast<long long>(status.learned.good));
  const bool trained =
      status.learned.spam >= config.minimumLearned && status.learned.good >= config.minimumLearned;
  if (trained) {
    std::printf("Junk:      scores of 50 and above mark mail as junk\n");
  } else {
    std::printf("Junk:      none yet; scores stay below 50 until %lld spam and %lld good "
                "messages are learned\n",
                static_cast<long long>(config.minimumLearned),
                static_cast<long long>(config.minimumLearned));
  }
  return 0;
}

} // namespace
} // namespace quellbark

int main(int argc, char** argv) {
  CLI::App app{"Quellbark: the spam filter behind the mail client's junk plug-in (engine: "
               "bogofilter).\nWithout a command it serves the plug-in's requests.",
               "Quellbark"};
  app.set_version_flag("--version", "Quellbark " QB_VERSION);
  app.require_subcommand(0, 1);
  std::optional<long> level;
  CLI::App* loglevel =
      app.add_subcommand("loglevel", "Set the plug-in's log threshold (10 debug, 20 info, 40 "
                                     "errors only, above 40 nothing); without N, show it");
  loglevel->add_option("N", level, "the threshold");
  CLI::App* status = app.add_subcommand(
      "status", "Show the engine, the word list, what it has learned (also what the running "
                "instance has yet to commit) and whether it runs");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) { // --help, --version
      return app.exit(e);
    }
    std::fprintf(stderr, "Quellbark: %s (see Quellbark --help)\n", e.what());
    return quellbark::kBadUsage;
  }

  if (loglevel->parsed()) {
    return level ? quellbark::setLogLevel(*level) : quellbark::showLogLevel();
  }
  if (status->parsed()) {
    return quellbark::printStatus();
  }
  return quellbark::serve();
}
