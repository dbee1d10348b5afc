#include "Sandbox.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace cstest {

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void writeFile(const std::string& path, const std::string& bytes, mode_t mode) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
  chmod(path.c_str(), mode);
}

std::vector<std::string> openDescriptors() {
  std::vector<std::string> names;
  for (auto& item : fs::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    names.push_back(item.path().filename().string() + " -> " +
                    fs::read_symlink(item.path(), ignored).string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void SandboxTest::SetUp() {
  char pattern[] = "/tmp/cstest-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  mRoot = pattern;
  mHome = mRoot + "/home";
  mSystemRoot = mRoot + "/system";
  mRuntime = mRoot + "/run";
  fs::create_directories(mHome);
  fs::create_directories(mSystemRoot + "/Applications");
  mkdir(mRuntime.c_str(), 0700);
  setenv("HOME", mHome.c_str(), 1);
  setenv("XDG_RUNTIME_DIR", mRuntime.c_str(), 1);
  setenv("LS_SYSTEM_ROOT", mSystemRoot.c_str(), 1);
  setenv("AE_DEFAULT_TIMEOUT_TICKS", "600", 1);
  unsetenv("LS_APPLICATION_PATH");
  unsetenv("XDG_DATA_HOME");
  unsetenv("LS_LAUNCH_TIMEOUT_SECONDS");
}

std::vector<pid_t> SandboxTest::runningApps() const {
  std::vector<pid_t> pids;
  ProcessSerialNumber psn{0, kNoProcess};
  while (GetNextProcess(&psn) == noErr) {
    pid_t pid = 0;
    if (GetProcessPID(&psn, &pid) == noErr)
      pids.push_back(pid);
  }
  return pids;
}

void SandboxTest::TearDown() {
  for (pid_t pid : runningApps())
    if (pid != getpid())
      kill(pid, SIGKILL);
  // The killed applications are reaped by init; wait until they are gone from /proc.
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!runningApps().empty() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  std::error_code ignored;
  fs::remove_all(mRoot, ignored);
}

std::string SandboxTest::makeBundle(const std::string& folder, const std::string& name,
                                    const BundleLayout& layout) {
  std::string bundle = folder + "/" + name;
  std::string exeName = "tester";
  fs::create_directories(bundle + "/Contents/MacOS");
  if (layout.infoPlist) {
    writeFile(bundle + "/Contents/Info.plist",
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
              "<plist version=\"1.0\"><dict>\n"
              "<key>CFBundleExecutable</key><string>" +
                  exeName +
                  "</string>\n"
                  "<key>CFBundleIdentifier</key><string>" +
                  layout.identifier +
                  "</string>\n"
                  "<key>CFBundlePackageType</key><string>" +
                  layout.packageType +
                  "</string>\n"
                  "<key>CFBundleSignature</key><string>" +
                  layout.signature +
                  "</string>\n"
                  "</dict></plist>\n");
  }
  if (layout.pkgInfo)
    writeFile(bundle + "/Contents/PkgInfo", layout.packageType + layout.signature);
  std::string executable = bundle + "/Contents/MacOS/" + exeName;
  switch (layout.executable) {
  case Executable::servedApp:
    fs::create_symlink(SERVED_TEST_APP, executable);
    break;
  case Executable::exitsAtOnce:
    writeFile(executable, "#!/bin/sh\nexit 3\n", 0755);
    break;
  case Executable::notExecutable:
    writeFile(executable, "#!/bin/sh\nexit 0\n", 0644);
    break;
  case Executable::missing:
    break;
  }
  return bundle;
}

OSStatus SandboxTest::open(const std::string& path, LSLaunchFlags flags) {
  CFURLRef url = CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
      static_cast<CFIndex>(path.size()), false);
  LSLaunchURLSpec launchSpec{url, nullptr, nullptr, flags, nullptr};
  OSStatus status = LSOpenFromURLSpec(&launchSpec, nullptr);
  CFRelease(url);
  return status;
}

pid_t SandboxTest::launchServedApp(const std::string& signature) {
  BundleLayout layout;
  layout.signature = signature;
  std::string bundle = makeBundle(mSystemRoot + "/Applications", signature + ".app", layout);
  EXPECT_EQ(open(bundle), noErr);
  for (pid_t pid : runningApps()) {
    ProcessSerialNumber psn;
    ProcessInfoRec info{};
    info.processInfoLength = sizeof info;
    if (GetProcessForPID(pid, &psn) == noErr && GetProcessInformation(&psn, &info) == noErr &&
        info.processSignature == codeOf(signature))
      return pid;
  }
  ADD_FAILURE() << "no application with signature " << signature << " registered";
  return 0;
}

OSType codeOf(const std::string& text) {
  OSType value = 0;
  for (char c : text)
    value = (value << 8) | static_cast<unsigned char>(c);
  return value;
}

AppleEvent testEvent(const char* id, const std::string& signature) {
  AppleEvent event;
  AEInitializeDesc(&event);
  AEAddressDesc target;
  OSType signatureCode = codeOf(signature);
  AECreateDesc(typeApplSignature, &signatureCode, sizeof signatureCode, &target);
  AECreateAppleEvent(code("TEST"), codeOf(id), &target, kAutoGenerateReturnID, kAnyTransactionID,
                     &event);
  AEDisposeDesc(&target);
  return event;
}

} // namespace cstest
