// The launcher with real bundles in real places, run in a fresh process each time (its notice
// is once per process): which copy it launches, what it logs and what the user is told.
#include "Sandbox.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>

using namespace sandbox;

namespace {

constexpr const char* kLogPrefix = "Quellbark Thunderbird Plug-In: ";
constexpr const char* kSearchFailed =
    "Quellbark Thunderbird Plug-In: LSFindApplicationForInfo failed -10814.";

struct Notice {
  std::string title;
  std::string message;
};

const Notice kNotFound{
    "Could Not Find Quellbark",
    "Thunderbird cannot find the Quellbark application. In order for it to filter messages using "
    "Quellbark, make sure that the Quellbark application is installed directly in your "
    "Applications folder."};
const Notice kInTrash{
    "Could Not Launch Quellbark",
    "Please empty the trash to remove your old copy of Quellbark and make sure that the latest "
    "version of Quellbark is installed in your Applications folder."};
const Notice kCannotLaunch{"Could Not Launch Quellbark",
                           "Mac OS X reported error -10827 when trying to launch Quellbark."};

class Launcher : public testing::Test {
protected:
  void SetUp() override { mSandbox.enterInThisProcess(); }

  // Runs the driver and keeps the plug-in's log lines of its output.
  std::vector<std::string> drive(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), (buildDirectory() / "bin/bridge-launch-driver").string());
    Finished run = runToEnd(arguments, mSandbox.environment(), mSandbox.root);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    std::vector<std::string> logLines;
    std::istringstream output(run.out + run.err);
    for (std::string line; std::getline(output, line);)
      if (line.starts_with(kLogPrefix))
        logLines.push_back(line);
    return logLines;
  }

  std::vector<Notice> notices() {
    std::vector<Notice> shown;
    for (const Json& line : readJsonLines(mSandbox.notices)) {
      EXPECT_EQ(line["flags"], 2) << "a caution notice";
      EXPECT_EQ(line["timeout"], 0) << "a notice that never dismisses itself";
      shown.push_back({line["title"], line["message"]});
    }
    return shown;
  }

  // The bundles that launched companions run from.
  std::vector<fs::path> launchedBundles() {
    std::vector<fs::path> bundles;
    for (pid_t pid : startedCompanions(mSandbox.events)) {
      fs::path exe = fs::read_symlink("/proc/" + std::to_string(pid) + "/exe");
      bundles.push_back(fs::relative(exe.parent_path().parent_path().parent_path(), mSandbox.root));
    }
    return bundles;
  }

  Sandbox mSandbox;
};

void expectNotices(const std::vector<Notice>& shown, const std::optional<Notice>& expected) {
  ASSERT_EQ(shown.size(), expected ? 1u : 0u) << "at most one notice in the life of a process";
  if (expected) {
    EXPECT_EQ(shown[0].title, expected->title);
    EXPECT_EQ(shown[0].message, expected->message);
  }
}

// A copy that Launch Services cannot know by its signature (it has none) is reachable only at
// the fixed locations. Such a copy also runs without the signature, so a later call would search
// again; those cases make one call.
const BundleShape kSigned{};
const BundleShape kUnsigned{.signature = ""};
const BundleShape kUnsignedBroken{.signature = "", .executable = Executable::missing};
const BundleShape kNoExecutable{.executable = Executable::missing};

struct LaunchCase {
  const char* name;
  std::vector<std::pair<const char*, BundleShape>> bundles; // folder below the sandbox, shape
  int calls;
  std::size_t searchFailures;
  std::vector<fs::path> launched; // relative to the sandbox
  std::optional<Notice> notice;
};

void PrintTo(const LaunchCase& c, std::ostream* os) {
  *os << c.name;
}

class LaunchAttempts : public Launcher, public testing::WithParamInterface<LaunchCase> {};

TEST_P(LaunchAttempts, LaunchLogAndNotice) {
  for (const auto& [folder, shape] : GetParam().bundles)
    makeCompanionBundle(mSandbox.root / folder, shape);
  auto lines = drive({"launch", std::to_string(GetParam().calls)});
  EXPECT_EQ(lines, std::vector<std::string>(GetParam().searchFailures, kSearchFailed));
  EXPECT_EQ(launchedBundles(), GetParam().launched);
  expectNotices(notices(), GetParam().notice);
}

constexpr const char* kApps = "system/Applications";
constexpr const char* kInternet = "system/Applications/Internet";

INSTANTIATE_TEST_SUITE_P(
    Places, LaunchAttempts,
    testing::Values(
        LaunchCase{"FoundBySignature", {{"apps", kSigned}}, 2, 0, {"apps/Quellbark.app"}, {}},
        LaunchCase{"FirstFixedLocation",
                   {{kApps, kUnsigned}, {kInternet, kUnsigned}},
                   1,
                   1,
                   {"system/Applications/Quellbark.app"},
                   {}},
        LaunchCase{"SecondFixedLocationAfterABrokenFirst",
                   {{kApps, kUnsignedBroken}, {kInternet, kUnsigned}},
                   1,
                   1,
                   {"system/Applications/Internet/Quellbark.app"},
                   {}},
        LaunchCase{"OnlyBrokenFixedCopies",
                   {{kApps, kUnsignedBroken}, {kInternet, kUnsignedBroken}},
                   2,
                   2,
                   {},
                   kNotFound},
        // A found copy that fails is reported; the fixed locations are not tried after it.
        LaunchCase{
            "InTheTrash", {{"home/.Trash", kSigned}, {kApps, kUnsigned}}, 2, 0, {}, kInTrash},
        LaunchCase{"WithoutExecutable",
                   {{"apps", kNoExecutable}, {kApps, kUnsigned}},
                   2,
                   0,
                   {},
                   kCannotLaunch}),
    [](const auto& c) { return std::string(c.param.name); });

TEST_F(Launcher, AlreadyRunningMeansNoSearchNoLaunchNoNotice) {
  // Running from a bundle no search would find, with nothing to find anywhere: any search would
  // log its failure and end in a notice.
  fs::path bundle = makeCompanionBundle(mSandbox.root / "elsewhere");
  pid_t running =
      spawnProcess({(bundle / "Contents/MacOS/Quellbark").string()}, mSandbox.environment());
  ASSERT_TRUE(waitUntilRegistered(running));
  EXPECT_TRUE(drive({"launch", "2"}).empty());
  EXPECT_EQ(startedCompanions(mSandbox.events), std::vector<pid_t>{running});
  expectNotices(notices(), std::nullopt);
}

TEST_F(Launcher, TrainingWithoutDataStillLaunchesFirst) {
  makeCompanionBundle(mSandbox.applicationPath);
  EXPECT_EQ(
      drive({"train-null"}),
      std::vector<std::string>{"Quellbark Thunderbird Plug-In: NULL messageData when training"});
  EXPECT_EQ(launchedBundles(), std::vector<fs::path>{"apps/Quellbark.app"});
  EXPECT_TRUE(receivedEvents(mSandbox.events).empty());
}

} // namespace
