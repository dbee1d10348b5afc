// Real surroundings for tests of the companion application and of what talks to it: a private
// folder standing in for the user's home, the runtime folder where applications register, the
// system root that holds /Applications, and real application bundles of the scripted companion
// placed wherever a test needs them.
#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace sandbox {

namespace fs = std::filesystem;
using Json = nlohmann::json;

class Sandbox {
public:
  Sandbox();
  ~Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  // The environment that points the platform at this sandbox, as NAME=VALUE strings: for child
  // processes (on top of this process's own, minus anything that would leak out of it).
  std::vector<std::string> environment() const;
  // The same, set in this process for code under test that runs here.
  void enterInThisProcess() const;

  // Quellbark's preferences in the sandboxed home: the log threshold.
  void setLogLevel(long level) const;

  fs::path root;
  fs::path home;            // HOME and CFFIXED_USER_HOME
  fs::path runtime;         // XDG_RUNTIME_DIR: where applications register
  fs::path systemRoot;      // LS_SYSTEM_ROOT: stands for "/"
  fs::path applicationPath; // LS_APPLICATION_PATH: searched first by Launch Services
  fs::path notices;         // CF_USER_NOTIFICATION_LOG
  fs::path events;          // what the scripted companion receives
  fs::path script;          // how the scripted companion answers
};

struct BundleShape {
  bool signature = true;  // CFBundleSignature 'Qbrk' in its Info.plist
  bool executable = true; // the scripted companion as Contents/MacOS/Quellbark
};

// Makes folder/Quellbark.app from the scripted companion and returns its path.
fs::path makeCompanionBundle(const fs::path& folder, BundleShape shape = {});

fs::path buildDirectory();

// Starts a program with the given environment, its stdout and stderr going to outputFile
// (or inherited when empty); with an errorFile, stderr goes there instead.
pid_t spawnProcess(const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment, const fs::path& outputFile = {},
                   const fs::path& errorFile = {});

struct Finished {
  int exitCode = -1;
  std::string output; // stdout and stderr
};
Finished runToEnd(const std::vector<std::string>& arguments,
                  const std::vector<std::string>& environment, const fs::path& scratch);

// Every line of a JSON-lines file (none when the file does not exist).
std::vector<Json> readJsonLines(const fs::path& file);
// The pids of the scripted companions that started (their {"started":PID} lines).
std::vector<pid_t> startedCompanions(const fs::path& events);
// The events recorded (every line but the start lines).
std::vector<Json> receivedEvents(const fs::path& events);

// Terminates a process that is not necessarily a child and waits until it is gone.
void stopProcess(pid_t pid);

// Waits until an application with Quellbark's signature and this pid is registered; false when
// the process exits or ten seconds pass first.
bool waitUntilRegistered(pid_t pid);

std::string readFile(const fs::path& file);
std::string hexOf(const std::vector<unsigned char>& bytes);

} // namespace sandbox
