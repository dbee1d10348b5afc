// Real surroundings for tests of applications and of what talks to them: a private folder
// standing in for the user's home, the runtime folder where applications register, the system
// root that holds /Applications, and real application bundles (of the scripted companion or of
// ServedTestApp) placed wherever a test needs them. Every application still registered in it, and
// every scripted companion that started, is stopped when the sandbox goes.
#pragma once

#include "Hex.h"
#include "Process.h"
#include "TempDir.h"

#include <CoreServices/CoreServices.h>
#include <QuellbarkEvents.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <string_view>
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

enum class Executable { scriptedCompanion, servedApp, exitsAtOnce, missing };

struct BundleShape {
  std::string signature = "Qbrk"; // CFBundleSignature; none when empty
  std::string packageType = "APPL";
  std::string identifier = "com.quellbark.Quellbark";
  std::string executableName = "Quellbark"; // also CFBundleName
  bool infoPlist = true;
  bool pkgInfo = false;
  Executable executable = Executable::scriptedCompanion;
};

// Makes folder/name (folders made as needed) and returns its path.
fs::path makeBundle(const fs::path& folder, const std::string& name, const BundleShape& shape = {});
// folder/Quellbark.app.
fs::path makeCompanionBundle(const fs::path& folder, const BundleShape& shape = {});

// The code whose characters are text's four bytes, for codes known only at run time (a
// bundle shape's signature); a literal code is FOUR_CHAR_CODE("abcd").
OSType codeOf(std::string_view text);
// The pids of the registered applications, in the registry's order.
std::vector<pid_t> runningApps();
// LSOpenFromURLSpec on a path.
OSStatus launch(const fs::path& bundle, LSLaunchFlags flags = kLSLaunchDontSwitch);

fs::path buildDirectory();

using testsupport::Finished;
using testsupport::runToEnd;
using testsupport::spawnProcess;

// Every line of a JSON-lines file (none when the file does not exist).
std::vector<Json> readJsonLines(const fs::path& file);
// The pids of the scripted companions that started (their {"started":PID} lines).
std::vector<pid_t> startedCompanions(const fs::path& events);
// The events recorded (every line but the start lines).
std::vector<Json> receivedEvents(const fs::path& events);

// Waits until an application with this signature and pid is registered; false when the process
// exits or ten seconds pass first.
bool waitUntilRegistered(pid_t pid, OSType signature = kQuellbarkSignature);

using testsupport::hexOf;
using testsupport::readFile;
using testsupport::writeFile;

} // namespace sandbox
