// Quellbark: the spam filter the mail client's junk plug-in talks to.
//
//   Quellbark                 serve the plug-in's Apple Events until SIGTERM, SIGINT or 'quit'
//   Quellbark loglevel [N]    set (or show) the plug-in's log threshold
//   Quellbark status          the engine, the word list and what it has learned
#include "AppIdentity.h"
#include "CompanionServer.h"
#include "Engine.h"
#include "LogLevelPreference.h"

#include <CLI/CLI.hpp>
#include <Carbon/Carbon.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <thread>

namespace quellbark {
namespace {

void quitOnSignal(int) {
  QuitApplicationEventLoop();
}

int serve() {
  Engine engine(EngineConfig::fromEnvironment());
  CompanionServer server(engine);
  if (OSErr const err = server.install(); err != noErr) {
    std::fprintf(stderr, "Quellbark: cannot install the event handlers (error %d)\n", err);
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
  if (std::optional<long> const level = readLogLevel()) {
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

int printStatus() {
  EngineConfig config = EngineConfig::fromEnvironment();
  std::string lastProblem;
  config.log = [&lastProblem](std::string const& line) { lastProblem = line; };
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
  if (status.error != EngineError::none) {
    std::printf("Error %d:  %s\n", static_cast<int>(status.error), describe(status.error));
    return 1;
  }
  std::printf("Learned:   %lld spam, %lld good\n", static_cast<long long>(status.learned.spam),
              static_cast<long long>(status.learned.good));
  bool const trained =
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
               "bogofilter).\nWithout a command it serves the plug-in's requests."};
  app.require_subcommand(0, 1);
  std::optional<long> level;
  CLI::App* loglevel =
      app.add_subcommand("loglevel", "Set the plug-in's log threshold (10 debug, 20 info, 40 "
                                     "errors only, above 40 nothing); without N, show it");
  loglevel->add_option("N", level, "the threshold");
  CLI::App* status =
      app.add_subcommand("status", "Show the engine, the word list and what it has learned");
  CLI11_PARSE(app, argc, argv);

  if (loglevel->parsed()) {
    return level ? quellbark::setLogLevel(*level) : quellbark::showLogLevel();
  }
  if (status->parsed()) {
    return quellbark::printStatus();
  }
  return quellbark::serve();
}
