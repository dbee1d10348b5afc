#include "Sandbox.h"
#include "LogLevelFile.h"

#include <ApplicationServices/ApplicationServices.h>
#include <plist/plist.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <set>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace sandbox {
namespace {

// Variables of the surrounding session that would let a test reach outside its sandbox.
const std::set<std::string> kDroppedVariables = {"HOME",
                                                 "CFFIXED_USER_HOME",
                                                 "XDG_RUNTIME_DIR",
                                                 "XDG_DATA_HOME",
                                                 "XDG_STATE_HOME",
                                                 "JOURNAL_STREAM",
                                                 "LS_SYSTEM_ROOT",
                                                 "LS_APPLICATION_PATH",
                                                 "CF_USER_NOTIFICATION_LOG",
                                                 "DBUS_SESSION_BUS_ADDRESS",
                                                 "AE_DEFAULT_TIMEOUT_TICKS",
                                                 "LS_LAUNCH_TIMEOUT_SECONDS",
                                                 "SCRIPTED_COMPANION_EVENTS",
                                                 "SCRIPTED_COMPANION_SCRIPT",
                                                 "SCRIPTED_COMPANION_HEX_LIMIT"};

std::vector<std::pair<std::string, std::string>> sandboxVariables(const Sandbox& s) {
  return {{"HOME", s.home},
          {"CFFIXED_USER_HOME", s.home},
          {"XDG_RUNTIME_DIR", s.runtime},
          {"LS_SYSTEM_ROOT", s.systemRoot},
          {"LS_APPLICATION_PATH", s.applicationPath},
          {"CF_USER_NOTIFICATION_LOG", s.notices},
          {"SCRIPTED_COMPANION_EVENTS", s.events},
          {"SCRIPTED_COMPANION_SCRIPT", s.script}};
}

void writePlist(plist_t plist, const fs::path& file) {
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(plist, &xml, &length);
  std::ofstream(file, std::ios::binary).write(xml, length);
  plist_to_xml_free(xml);
}

bool isGone(pid_t pid) {
  int status = 0;
  pid_t waited = waitpid(pid, &status, WNOHANG);
  if (waited == pid)
    return true;
  if (waited == 0)
    return false;
  // Not a child of ours (a launched application): look at the process itself.
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(stat, line))
    return true;
  auto end = line.rfind(')');
  return end != std::string::npos && end + 2 < line.size() && line[end + 2] == 'Z';
}

// Terminates a process that is not necessarily a child and waits until it is gone.
void stopProcess(pid_t pid) {
  kill(pid, SIGTERM);
  for (int waited = 0; !isGone(pid); ++waited) {
    if (waited == 1000)
      kill(pid, SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

} // namespace

Sandbox::Sandbox() {
  std::string pattern = (fs::temp_directory_path() / "qb-sandbox-XXXXXX").string();
  if (!mkdtemp(pattern.data()))
    throw std::runtime_error("cannot make a sandbox folder");
  root = pattern;
  home = root / "home";
  runtime = root / "run";
  systemRoot = root / "system";
  applicationPath = root / "apps";
  notices = root / "notices.jsonl";
  events = root / "events.jsonl";
  script = root / "replies.txt";
  for (const fs::path& folder : {home, runtime, systemRoot / "Applications", applicationPath})
    fs::create_directories(folder);
  fs::permissions(runtime, fs::perms::owner_all, fs::perm_options::replace);
  std::ofstream(script) << "ok\n";
}

Sandbox::~Sandbox() {
  std::vector<pid_t> running = startedCompanions(events);
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(runtime / "AppleEvents", ignored))
    if (entry.path().extension() == ".plist")
      running.push_back(std::atoi(entry.path().stem().c_str()));
  // A stale entry's pid may since belong to another program: only what runs from here is ours.
  for (pid_t pid : running)
    if (pid > 0 && pid != getpid() &&
        readFile("/proc/" + std::to_string(pid) + "/cmdline").starts_with(root.string()))
      stopProcess(pid);
  fs::remove_all(root, ignored);
}

std::vector<std::string> Sandbox::environment() const {
  std::vector<std::string> result;
  for (char** entry = environ; *entry; ++entry) {
    std::string_view text = *entry;
    if (!kDroppedVariables.contains(std::string(text.substr(0, text.find('=')))))
      result.emplace_back(text);
  }
  for (const auto& [name, value] : sandboxVariables(*this))
    result.push_back(name + "=" + value);
  return result;
}

void Sandbox::enterInThisProcess() const {
  for (const std::string& name : kDroppedVariables)
    unsetenv(name.c_str());
  for (const auto& [name, value] : sandboxVariables(*this))
    setenv(name.c_str(), value.c_str(), 1);
}

void Sandbox::setLogLevel(long level) const {
  testsupport::writeLogLevel(home.string(), level);
}

fs::path buildDirectory() {
  if (const char* dir = std::getenv("QB_BUILD_DIR"))
    return dir;
  return fs::read_symlink("/proc/self/exe").parent_path().parent_path();
}

fs::path makeBundle(const fs::path& folder, const std::string& name, const BundleShape& shape) {
  fs::path contents = folder / name / "Contents";
  fs::create_directories(contents / "MacOS");
  if (shape.infoPlist) {
    plist_t info = plist_new_dict();
    plist_dict_set_item(info, "CFBundleExecutable", plist_new_string(shape.executableName.c_str()));
    plist_dict_set_item(info, "CFBundleIdentifier", plist_new_string(shape.identifier.c_str()));
    plist_dict_set_item(info, "CFBundleName", plist_new_string(shape.executableName.c_str()));
    plist_dict_set_item(info, "CFBundlePackageType", plist_new_string(shape.packageType.c_str()));
    if (!shape.signature.empty())
      plist_dict_set_item(info, "CFBundleSignature", plist_new_string(shape.signature.c_str()));
    writePlist(info, contents / "Info.plist");
    plist_free(info);
  }
  if (shape.pkgInfo)
    writeFile(contents / "PkgInfo", shape.packageType + shape.signature);
  fs::path executable = contents / "MacOS" / shape.executableName;
  switch (shape.executable) {
  case Executable::scriptedCompanion:
    // A copy, not a link: an application knows its bundle by where its executable really lies.
    fs::copy_file(buildDirectory() / "bin" / "scripted-companion", executable,
                  fs::copy_options::overwrite_existing);
    break;
  case Executable::servedApp:
    fs::create_symlink(buildDirectory() / "bin" / "ServedTestApp", executable);
    break;
  case Executable::exitsAtOnce:
    writeFile(executable, "#!/bin/sh\nexit 3\n", fs::perms(0755));
    break;
  case Executable::missing:
    break;
  }
  return folder / name;
}

fs::path makeCompanionBundle(const fs::path& folder, const BundleShape& shape) {
  return makeBundle(folder, "Quellbark.app", shape);
}

OSType codeOf(std::string_view text) {
  OSType value = 0;
  for (char c : text)
    value = (value << 8) | static_cast<unsigned char>(c);
  return value;
}

std::vector<pid_t> runningApps() {
  std::vector<pid_t> pids;
  ProcessSerialNumber psn{0, kNoProcess};
  while (GetNextProcess(&psn) == noErr) {
    pid_t pid = 0;
    if (GetProcessPID(&psn, &pid) == noErr)
      pids.push_back(pid);
  }
  return pids;
}

OSStatus launch(const fs::path& bundle, LSLaunchFlags flags) {
  const std::string& path = bundle.native();
  CFURLRef url = CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()), CFIndex(path.size()),
      false);
  LSLaunchURLSpec spec{url, nullptr, nullptr, flags, nullptr};
  OSStatus status = LSOpenFromURLSpec(&spec, nullptr);
  CFRelease(url);
  return status;
}

std::vector<Json> readJsonLines(const fs::path& file) {
  std::vector<Json> lines;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);)
    lines.push_back(Json::parse(line));
  return lines;
}

std::vector<pid_t> startedCompanions(const fs::path& events) {
  std::vector<pid_t> pids;
  for (const Json& line : readJsonLines(events))
    if (line.contains("started"))
      pids.push_back(line["started"].get<pid_t>());
  return pids;
}

std::vector<Json> receivedEvents(const fs::path& events) {
  std::vector<Json> received;
  for (Json& line : readJsonLines(events))
    if (!line.contains("started"))
      received.push_back(std::move(line));
  return received;
}

bool waitUntilRegistered(pid_t pid, OSType signature) {
  for (int tries = 0; tries < 1000 && !isGone(pid); ++tries) {
    ProcessSerialNumber process = {0, kNoProcess};
    while (GetNextProcess(&process) == noErr) {
      ProcessInfoRec info = {};
      info.processInfoLength = sizeof info;
      pid_t processPid = -1;
      if (GetProcessInformation(&process, &info) == noErr && info.processSignature == signature &&
          GetProcessPID(&process, &processPid) == noErr && processPid == pid)
        return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

} // namespace sandbox
