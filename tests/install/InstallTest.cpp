// scripts/install.sh on this build tree, staged with DESTDIR in a temporary folder so that
// nothing outside it is touched: what lands where, that the installed host runs from its new
// place, and that uninstall takes away exactly what install brought.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace {

struct Outcome {
  int status;
  std::string out;
};

Outcome runShell(const std::string& command) {
  Outcome result{-1, {}};
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe)
    return result;
  std::array<char, 4096> buffer{};
  std::size_t n;
  while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
    result.out.append(buffer.data(), n);
  int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

std::string cacheValue(const std::string& key) {
  std::ifstream cache(std::string(QB_BUILD_DIR) + "/CMakeCache.txt");
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
  void SetUp() override {
    char pattern[] = "/tmp/install-test-XXXXXX";
    mRoot = mkdtemp(pattern);
    mStage = mRoot / "stage";
    fs::create_directories(mStage);
    mPrefix = cacheValue("CMAKE_INSTALL_PREFIX");
    mAppDir = cacheValue("QB_APP_DIR");
    ASSERT_FALSE(mPrefix.empty());
    ASSERT_FALSE(mAppDir.empty());
  }
  void TearDown() override { fs::remove_all(mRoot); }

  Outcome script(const std::string& action) {
    return runShell("DESTDIR=" + mStage.string() +
                    " QB_INSTALL_RECORD=" + (mRoot / "record").string() +
                    " bash " QB_SOURCE_DIR "/scripts/install.sh " + action + " " QB_BUILD_DIR);
  }
  fs::path staged(const std::string& absolute) const { return mStage / absolute.substr(1); }

  fs::path mRoot, mStage;
  std::string mPrefix, mAppDir;
};

TEST_F(Install, PutsEveryPieceWhereTheHostAndLaunchServicesLook) {
  Outcome install = script("install");
  ASSERT_EQ(install.status, 0) << install.out;

  fs::path prefix = staged(mPrefix);
  fs::path app = staged(mAppDir) / "Quellbark.app" / "Contents";
  for (fs::path file :
       {prefix / "bin/mailhost", prefix / "lib/QuellbarkPlugIn.so",
        prefix / "lib/libCoreFoundation.so", prefix / "lib/libCoreServices.so",
        prefix / "lib/libxpcom.so", app / "Info.plist", app / "PkgInfo", app / "MacOS/Quellbark"})
    EXPECT_TRUE(fs::is_regular_file(file)) << file;
  EXPECT_NE(fs::status(prefix / "bin/mailhost").permissions() & fs::perms::owner_exec,
            fs::perms::none);
  EXPECT_NE(fs::status(app / "MacOS/Quellbark").permissions() & fs::perms::owner_exec,
            fs::perms::none);

  std::ifstream pkgInfo(app / "PkgInfo");
  std::string codes((std::istreambuf_iterator<char>(pkgInfo)), {});
  EXPECT_EQ(codes, "APPLQbrk");

  // No installed program may still lean on the build tree for its libraries.
  for (fs::path binary :
       {prefix / "bin/mailhost", prefix / "lib/QuellbarkPlugIn.so", app / "MacOS/Quellbark"}) {
    Outcome dynamic = runShell("readelf -d '" + binary.string() + "'");
    ASSERT_EQ(dynamic.status, 0) << dynamic.out;
    EXPECT_EQ(dynamic.out.find(QB_BUILD_DIR), std::string::npos) << binary << dynamic.out;
  }
  EXPECT_NE(runShell("readelf -d '" + (app / "MacOS/Quellbark").string() + "'")
                .out.find(mPrefix + "/lib"),
            std::string::npos);
}

TEST_F(Install, InstalledHostRunsFromItsNewPlaceAndLoadsTheInstalledBundle) {
  ASSERT_EQ(script("install").status, 0);
  fs::path prefix = staged(mPrefix);
  Outcome info = runShell("cd / && '" + (prefix / "bin/mailhost").string() + "' --profile '" +
                          (mRoot / "profile").string() + "' info");
  ASSERT_EQ(info.status, 0) << info.out;
  EXPECT_NE(info.out.find((prefix / "bin/../lib/QuellbarkPlugIn.so").string()), std::string::npos)
      << info.out;
  EXPECT_NE(info.out.find("@mozilla.org/messenger/filter-plugin;1?name=bayesianfilter"),
            std::string::npos)
      << info.out;
}

TEST_F(Install, UninstallRemovesExactlyWhatInstallBrought) {
  // Something of the user's in a folder the install shares, made before the install.
  fs::path foreign = staged(mPrefix) / "bin" / "someone-elses-tool";
  fs::create_directories(foreign.parent_path());
  std::ofstream(foreign) << "keep me";
  std::set<std::string> before = treeUnder(mStage);

  ASSERT_EQ(script("install").status, 0);
  EXPECT_GT(treeUnder(mStage).size(), before.size());
  Outcome uninstall = script("uninstall");
  ASSERT_EQ(uninstall.status, 0) << uninstall.out;
  EXPECT_EQ(treeUnder(mStage), before);
  EXPECT_FALSE(fs::exists(mRoot / "record"));

  // A second uninstall has no record to go by and says so.
  Outcome again = script("uninstall");
  EXPECT_EQ(again.status, 1);
  EXPECT_NE(again.out.find("no install record"), std::string::npos) << again.out;
}

TEST_F(Install, UninstallLeavesAFolderThatGainedOtherFiles) {
  ASSERT_EQ(script("install").status, 0);
  fs::path added = staged(mAppDir) / "Other.app";
  fs::create_directories(added);
  ASSERT_EQ(script("uninstall").status, 0);
  EXPECT_TRUE(fs::exists(added));
  EXPECT_FALSE(fs::exists(staged(mAppDir) / "Quellbark.app"));
  EXPECT_FALSE(fs::exists(staged(mPrefix) / "bin"));
}

} // namespace
