// Finding application bundles by creator, identifier and name, and launching them.
#include "Sandbox.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <unistd.h>

using namespace cstest;
namespace fs = std::filesystem;

namespace {

class LaunchServicesTest : public SandboxTest {
protected:
  // LSFindApplicationForInfo's answer as a path, or its error as text.
  std::string find(OSType creator, const char* bundleID = nullptr, const char* name = nullptr) {
    CFStringRef identifier =
        bundleID ? CFStringCreateWithCString(nullptr, bundleID, kCFStringEncodingUTF8) : nullptr;
    CFStringRef fileName =
        name ? CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8) : nullptr;
    CFURLRef url = nullptr;
    FSRef ref;
    OSStatus status = LSFindApplicationForInfo(creator, identifier, fileName, &ref, &url);
    if (identifier)
      CFRelease(identifier);
    if (fileName)
      CFRelease(fileName);
    if (status != noErr)
      return "error " + std::to_string(status);
    UInt8 path[4096];
    EXPECT_TRUE(CFURLGetFileSystemRepresentation(url, true, path, sizeof path));
    CFRelease(url);
    UInt8 refPath[4096];
    EXPECT_EQ(FSRefMakePath(&ref, refPath, sizeof refPath), noErr);
    EXPECT_STREQ(reinterpret_cast<char*>(path), reinterpret_cast<char*>(refPath));
    return reinterpret_cast<char*>(path);
  }

  std::string applications() const { return mSystemRoot + "/Applications"; }
};

TEST_F(LaunchServicesTest, FindsByCreatorThroughInfoPlistOrPkgInfo) {
  BundleLayout plistOnly;
  plistOnly.signature = "Plst";
  BundleLayout pkgOnly;
  pkgOnly.signature = "Pkgi";
  pkgOnly.infoPlist = false;
  pkgOnly.pkgInfo = true;
  std::string a = makeBundle(applications(), "Alpha.app", plistOnly);
  std::string b = makeBundle(applications() + "/Utilities", "Beta.app", pkgOnly);
  makeBundle(applications(), "Gamma.bundle", BundleLayout{}); // not an .app: never looked at

  EXPECT_EQ(find(code("Plst")), a);
  EXPECT_EQ(find(code("Pkgi")), b);
  EXPECT_EQ(find(code("Tst1")), "error -10814");
  EXPECT_EQ(find(code("Nope")), "error -10814");
  EXPECT_EQ(find(kLSUnknownCreator), "error -50");
  // Identifier and name narrow the match, case-insensitively.
  EXPECT_EQ(find(code("Plst"), "ORG.EXAMPLE.TESTER"), a);
  EXPECT_EQ(find(code("Plst"), "org.example.other"), "error -10814");
  EXPECT_EQ(find(kLSUnknownCreator, nullptr, "alpha.APP"), a);
  EXPECT_EQ(find(code("Plst"), nullptr, "Beta.app"), "error -10814");
}

TEST_F(LaunchServicesTest, SearchOrderPutsTheTrashLast) {
  BundleLayout layout;
  layout.signature = "Ordr";
  std::string trashed = makeBundle(mHome + "/.local/share/Trash/files", "Ordr.app", layout);
  EXPECT_EQ(find(code("Ordr")), trashed) << "a trashed copy is still found";

  std::string system = makeBundle(applications() + "/Internet", "Ordr.app", layout);
  EXPECT_EQ(find(code("Ordr")), system);
  std::string top = makeBundle(applications(), "Ordr.app", layout);
  EXPECT_EQ(find(code("Ordr")), top);
  std::string user = makeBundle(mHome + "/Applications", "Ordr.app", layout);
  EXPECT_EQ(find(code("Ordr")), user);
  std::string custom = makeBundle(mRoot + "/custom", "Ordr.app", layout);
  setenv("LS_APPLICATION_PATH", (mRoot + "/missing:" + mRoot + "/custom").c_str(), 1);
  EXPECT_EQ(find(code("Ordr")), custom);
}

TEST_F(LaunchServicesTest, LaunchReturnsOnceRegisteredAndDoesNotLaunchTwice) {
  std::string bundle = makeBundle(applications(), "Served.app");
  ASSERT_EQ(open(bundle), noErr);
  auto running = runningApps();
  ASSERT_EQ(running.size(), 1u) << "registered by the time the launch returns";
  // The launched application is nobody's child here: no zombie is left to reap.
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);

  EXPECT_EQ(open(bundle), noErr);
  EXPECT_EQ(runningApps(), running) << "already running: not launched again";
  // The same bundle reached through a differently spelled path is still the same application.
  EXPECT_EQ(open(applications() + "/../Applications/Served.app/"), noErr);
  EXPECT_EQ(runningApps(), running);

  EXPECT_EQ(open(bundle, kLSLaunchDontSwitch | kLSLaunchNewInstance), noErr);
  EXPECT_EQ(runningApps().size(), 2u);
}

struct RefusalCase {
  const char* name;
  BundleLayout layout;
  const char* folder; // relative to the sandbox root
  OSStatus expected;
};

TEST_F(LaunchServicesTest, RefusesWhatCannotBeLaunched) {
  BundleLayout notApp;
  notApp.packageType = "BNDL";
  BundleLayout bare;
  bare.infoPlist = false;
  BundleLayout missing;
  missing.executable = Executable::missing;
  BundleLayout notExecutable;
  notExecutable.executable = Executable::notExecutable;
  BundleLayout exitsAtOnce;
  exitsAtOnce.executable = Executable::exitsAtOnce;
  const RefusalCase cases[] = {
      {"package type is not APPL", notApp, "system/Applications", kLSNotAnApplicationErr},
      {"neither Info.plist nor PkgInfo", bare, "system/Applications", kLSNotAnApplicationErr},
      {"executable missing", missing, "system/Applications", kLSNoExecutableErr},
      {"executable without x bit", notExecutable, "system/Applications", kLSNoExecutableErr},
      {"in ~/.Trash", BundleLayout{}, "home/.Trash", kLSAppInTrashErr},
      {"in the freedesktop Trash", BundleLayout{}, "home/.local/share/Trash/files",
       kLSAppInTrashErr},
      {"exits before registering", exitsAtOnce, "system/Applications", kLSUnknownErr},
  };
  int index = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string bundle =
        makeBundle(mRoot + "/" + c.folder, "Case" + std::to_string(index++) + ".app", c.layout);
    EXPECT_EQ(open(bundle), c.expected);
  }
  EXPECT_EQ(open(mRoot + "/nowhere/None.app"), kLSApplicationNotFoundErr);
  writeFile(mRoot + "/plain.app", "a file, not a bundle");
  EXPECT_EQ(open(mRoot + "/plain.app"), kLSApplicationNotFoundErr);
  EXPECT_EQ(LSOpenFromURLSpec(nullptr, nullptr), paramErr);
  EXPECT_TRUE(runningApps().empty());
}

TEST_F(LaunchServicesTest, ALaunchThatNeverRegistersTimesOut) {
  BundleLayout sleeper;
  sleeper.executable = Executable::missing;
  std::string bundle = makeBundle(applications(), "Sleeper.app", sleeper);
  std::string pidFile = mRoot + "/sleeper.pid";
  writeFile(bundle + "/Contents/MacOS/tester",
            "#!/bin/sh\necho $$ >> " + pidFile + "\nexec sleep 30\n", 0755);
  setenv("LS_LAUNCH_TIMEOUT_SECONDS", "0.3", 1);
  EXPECT_EQ(open(bundle), kLSLaunchInProgressErr);
  // Asynchronous launches do not wait at all.
  EXPECT_EQ(open(bundle, kLSLaunchAsync), noErr);
  auto started = [&] {
    std::string text = readFile(pidFile);
    return std::count(text.begin(), text.end(), '\n');
  };
  for (int i = 0; i < 100 && started() < 2; ++i)
    usleep(10'000);
  std::istringstream pids(readFile(pidFile));
  pid_t pid;
  int stopped = 0;
  while (pids >> pid)
    stopped += kill(pid, SIGKILL) == 0;
  EXPECT_EQ(stopped, 2);
}

} // namespace
