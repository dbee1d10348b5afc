// scripts/install.sh on this build tree, staged with DESTDIR in a temporary folder so that
// nothing outside it is touched: what lands where, that the installed host runs from its new
// place, and that uninstall takes away exactly what install brought.
#include "Shell.h"

#include <gtest/gtest.h>

#include <set>

namespace fs = std::filesystem;

namespace {

std::string cacheValue(const std::string& key) {
  std::ifstream cache(QB_BUILD_DIR "/CMakeCache.txt");
  for (std::string line; std::getline(cache, line);)
    if (line.rfind(key + ":", 0) == 0)
      return line.substr(line.find('=') + 1);
  return {};
}

std::set<std::string> treeUnder(const fs::path& root) {
  std::set<std::string> paths;
  for (auto& entry : fs::recursive_directory_iterator(root))
    paths.insert(fs::relative(entry.path(), root).string());
  return paths;
}

class Install : public ::testing::Test {
protected:
  ShellOutcome script(const std::string& action) {
    return runShell("DESTDIR=" + stage().string() +
                    " QB_INSTALL_RECORD=" + (mTemp.path() / "record").string() +
                    " bash " QB_SOURCE_DIR "/scripts/install.sh " + action + " " QB_BUILD_DIR);
  }
  fs::path stage() const { return mTemp.path() / "stage"; }
  fs::path prefix() const { return stage() / cacheValue("CMAKE_INSTALL_PREFIX").substr(1); }
  fs::path apps() const { return stage() / cacheValue("QB_APP_DIR").substr(1); }
  fs::path units() const { return stage() / cacheValue("QB_UNIT_INSTALL_DIR").substr(1); }
  TempDir mTemp;
};

TEST_F(Install, EveryPieceLandsWhereTheHostAndLaunchServicesLookAndRunsFromThere) {
  ShellOutcome install = script("install");
  ASSERT_EQ(install.status, 0) << install.out;

  fs::path app = apps() / "Quellbark.app/Contents";
  for (fs::path file :
       {prefix() / "bin/mailhost", prefix() / "libexec/mailhost",
        prefix() / "lib/QuellbarkPlugIn.so", prefix() / "lib/libCoreFoundation.so",
        prefix() / "lib/libCoreServices.so", prefix() / "lib/libxpcom.so", app / "Info.plist",
        app / "MacOS/Quellbark", prefix() / "share/man/man1/mailhost.1",
        prefix() / "share/man/man1/Quellbark.1",
        prefix() / "share/bash-completion/completions/mailhost"})
    EXPECT_TRUE(fs::is_regular_file(file)) << file;
  EXPECT_EQ(readFile(app / "PkgInfo"), "APPLQbrk");
  // Thunderbird's way in: the manifest where it looks, naming the installed program.
  EXPECT_TRUE(fs::is_regular_file(prefix() / "share/quellbark/quellbark-junkfilter.xpi"));
  std::string manifest = readFile(stage() / cacheValue("QB_NATIVE_MESSAGING_DIR").substr(1) /
                                  "com.quellbark.mailhost.json");
  std::string program = cacheValue("CMAKE_INSTALL_PREFIX") + "/bin/quellbark-native-host";
  EXPECT_NE(manifest.find("\"" + program + "\""), std::string::npos) << manifest;
  EXPECT_NE(readFile(prefix() / "bin/quellbark-native-host").find("/bin/mailhost\" native-host"),
            std::string::npos);

  // The command on PATH and the user unit both run the bundle's executable where it will lie.
  std::string executable = cacheValue("QB_APP_DIR") + "/Quellbark.app/Contents/MacOS/Quellbark";
  ASSERT_TRUE(fs::is_symlink(prefix() / "bin/Quellbark"));
  EXPECT_EQ(fs::read_symlink(prefix() / "bin/Quellbark"), executable);
  EXPECT_NE(readFile(units() / "quellbark.service").find("ExecStart=" + executable + "\n"),
            std::string::npos);
  // The IMAP watch's units run the installed host.
  for (const char* watch : {"mailhost-watch.service", "mailhost-watch@.service"})
    EXPECT_NE(readFile(units() / watch)
                  .find("ExecStart=" + cacheValue("CMAKE_INSTALL_PREFIX") + "/bin/mailhost watch"),
              std::string::npos)
        << watch;

  // No installed program leans on the build tree; the application names the prefix's libraries.
  for (fs::path binary : {prefix() / "bin/mailhost", prefix() / "libexec/mailhost",
                          prefix() / "lib/QuellbarkPlugIn.so", app / "MacOS/Quellbark"}) {
    ShellOutcome dynamic = runShell("readelf -d '" + binary.string() + "'");
    EXPECT_EQ(dynamic.out.find(QB_BUILD_DIR), std::string::npos) << binary << dynamic.out;
  }
  EXPECT_NE(runShell("readelf -d '" + (app / "MacOS/Quellbark").string() + "'")
                .out.find(cacheValue("CMAKE_INSTALL_PREFIX") + "/lib"),
            std::string::npos);
  // An empty entry in a library path is the working directory: whoever runs a program from a
  // folder of someone else's could have their libraries loaded. Built or installed, none has one.
  for (fs::path binary : {prefix() / "libexec/mailhost", app / "MacOS/Quellbark",
                          fs::path(QB_BUILD_DIR "/libexec/mailhost"),
                          fs::path(QB_BUILD_DIR "/Quellbark.app/Contents/MacOS/Quellbark")}) {
    ShellOutcome paths =
        runShell("readelf -d '" + binary.string() + "' | grep -o 'path: \\[.*\\]'");
    ASSERT_EQ(paths.status, 0) << binary << paths.out;
    EXPECT_EQ(paths.out.find("[:"), std::string::npos) << binary << paths.out;
    EXPECT_EQ(paths.out.find("::"), std::string::npos) << binary << paths.out;
    EXPECT_EQ(paths.out.find(":]"), std::string::npos) << binary << paths.out;
  }

  ShellOutcome info = runShell("cd / && '" + (prefix() / "bin/mailhost").string() +
                               "' --profile '" + (mTemp.path() / "profile").string() + "' info");
  ASSERT_EQ(info.status, 0) << info.out;
  EXPECT_NE(info.out.find((prefix() / "libexec/../lib/QuellbarkPlugIn.so").string()),
            std::string::npos)
      << info.out;
  EXPECT_NE(info.out.find("filter-plugin;1?name=bayesianfilter"), std::string::npos) << info.out;
}

TEST_F(Install, UninstallRemovesExactlyWhatInstallBrought) {
  // A file of the user's in a folder the install shares, there before the install...
  writeFile(prefix() / "bin" / "someone-elses-tool", "keep me");
  std::set<std::string> before = treeUnder(stage());
  ASSERT_EQ(script("install").status, 0);
  // Installed again over itself, as after an update: the folders are still the first install's.
  ASSERT_EQ(script("install").status, 0);
  // ...and an application added beside Quellbark after it.
  fs::create_directories(apps() / "Other.app");
  before.insert(fs::relative(apps() / "Other.app", stage()));
  for (fs::path dir = apps(); dir != stage(); dir = dir.parent_path())
    before.insert(fs::relative(dir, stage()));

  ShellOutcome uninstall = script("uninstall");
  ASSERT_EQ(uninstall.status, 0) << uninstall.out;
  EXPECT_EQ(treeUnder(stage()), before);
  EXPECT_FALSE(fs::exists(mTemp.path() / "record"));

  ShellOutcome again = script("uninstall");
  EXPECT_EQ(again.status, 1);
  EXPECT_NE(again.out.find("no install record"), std::string::npos) << again.out;
}

} // namespace
