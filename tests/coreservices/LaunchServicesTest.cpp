// Finding application bundles by creator, and launching them.
#include "ServedApps.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <unistd.h>

using namespace cstest;

namespace {

class LaunchServicesTest : public SandboxTest {
protected:
  // LSFindApplicationForInfo's answer as a path, or its error as text; asked as the plug-in and
  // the host ask, by creator alone.
  std::string find(OSType creator) {
    CFURLRef url = nullptr;
    OSStatus status = LSFindApplicationForInfo(creator, nullptr, nullptr, nullptr, &url);
    if (status != noErr)
      return "error " + std::to_string(status);
    UInt8 path[4096];
    EXPECT_TRUE(CFURLGetFileSystemRepresentation(url, true, path, sizeof path));
    CFRelease(url);
    return reinterpret_cast<char*>(path);
  }

  fs::path applications() const { return box.systemRoot / "Applications"; }
};

TEST_F(LaunchServicesTest, FindsByCreatorThroughInfoPlistOrPkgInfo) {
  BundleShape pkgOnly = served("Pkgi");
  pkgOnly.infoPlist = false;
  pkgOnly.pkgInfo = true;
  fs::path a = makeBundle(applications(), "Alpha.app", served("Plst"));
  fs::path b = makeBundle(applications() / "Utilities", "Beta.app", pkgOnly);
  makeBundle(applications(), "Gamma.bundle", served()); // not an .app: never looked at

  EXPECT_EQ(find(FOUR_CHAR_CODE("Plst")), a);
  EXPECT_EQ(find(FOUR_CHAR_CODE("Pkgi")), b);
  EXPECT_EQ(find(FOUR_CHAR_CODE("Tst1")), "error -10814");
}

TEST_F(LaunchServicesTest, SearchOrderPutsTheTrashLast) {
  // Each copy made is found before every one made earlier; a trashed copy is still found.
  for (const fs::path& folder : {box.home / ".local/share/Trash/files", applications() / "Internet",
                                 applications(), box.home / "Applications", box.root / "custom"}) {
    if (folder == box.root / "custom")
      setenv("LS_APPLICATION_PATH", (box.root.string() + "/missing:" + folder.string()).c_str(), 1);
    EXPECT_EQ(find(FOUR_CHAR_CODE("Ordr")), makeBundle(folder, "Ordr.app", served("Ordr")));
  }
}

TEST_F(LaunchServicesTest, LaunchReturnsOnceRegisteredAndDoesNotLaunchTwice) {
  fs::path bundle = makeBundle(applications(), "Served.app", served());
  ASSERT_EQ(launch(bundle), noErr);
  auto running = runningApps();
  ASSERT_EQ(running.size(), 1u) << "registered by the time the launch returns";
  // The launched application is nobody's child here: no zombie is left to reap.
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);

  EXPECT_EQ(launch(bundle), noErr);
  EXPECT_EQ(runningApps(), running) << "already running: not launched again";
  // The same bundle reached through a differently spelled path is still the same application.
  EXPECT_EQ(launch(applications().string() + "/../Applications/Served.app/"), noErr);
  EXPECT_EQ(runningApps(), running);

  EXPECT_EQ(launch(bundle, kLSLaunchDontSwitch | kLSLaunchNewInstance), noErr);
  EXPECT_EQ(runningApps().size(), 2u);
}

TEST_F(LaunchServicesTest, RefusesWhatCannotBeLaunched) {
  auto shaped = [](auto change) {
    BundleShape shape = served();
    change(shape);
    return shape;
  };
  const struct {
    const char* name;
    BundleShape shape;
    fs::path folder; // relative to the sandbox root
    OSStatus expected;
  } cases[] = {
      {"package type is not APPL", shaped([](auto& s) { s.packageType = "BNDL"; }),
       "system/Applications", kLSNotAnApplicationErr},
      {"neither Info.plist nor PkgInfo", shaped([](auto& s) { s.infoPlist = false; }),
       "system/Applications", kLSNotAnApplicationErr},
      {"executable missing", shaped([](auto& s) { s.executable = Executable::missing; }),
       "system/Applications", kLSNoExecutableErr},
      {"in the freedesktop Trash", served(), "home/.local/share/Trash/files", kLSAppInTrashErr},
      {"exits before registering", shaped([](auto& s) { s.executable = Executable::exitsAtOnce; }),
       "system/Applications", kLSUnknownErr},
  };
  int index = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(
        launch(makeBundle(box.root / c.folder, "Case" + std::to_string(index++) + ".app", c.shape)),
        c.expected);
  }
  EXPECT_EQ(launch(box.root / "nowhere/None.app"), kLSApplicationNotFoundErr);
  writeFile(box.root / "plain.app", "a file, not a bundle");
  EXPECT_EQ(launch(box.root / "plain.app"), kLSApplicationNotFoundErr);
  EXPECT_TRUE(runningApps().empty());
}

TEST_F(LaunchServicesTest, ALaunchThatNeverRegistersTimesOut) {
  BundleShape sleeper = served();
  sleeper.executable = Executable::missing;
  fs::path bundle = makeBundle(applications(), "Sleeper.app", sleeper);
  fs::path pidFile = box.root / "sleeper.pid";
  writeFile(bundle / "Contents/MacOS/tester",
            "#!/bin/sh\necho $$ >> " + pidFile.string() + "\nexec sleep 30\n", fs::perms(0755));
  setenv("LS_LAUNCH_TIMEOUT_SECONDS", "0.3", 1);
  EXPECT_EQ(launch(bundle), kLSLaunchInProgressErr);
  // Asynchronous launches do not wait at all.
  EXPECT_EQ(launch(bundle, kLSLaunchAsync), noErr);
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
