// mailhost run as a real process against the real bundle.
#include "HostTestSupport.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>

namespace {

using testsupport::TempDir;

class MailhostCli : public testing::Test {
protected:
  testsupport::Finished run(std::vector<std::string> args) {
    args.insert(args.begin(), MAILHOST_PATH);
    return testsupport::runToEnd(args, testsupport::currentEnvironment(), mScratch.path());
  }
  std::string profile() const { return mScratch / "profile"; }

  TempDir mScratch;
};

TEST_F(MailhostCli, InfoShowsTheRegistrationAndTheSimpleAnswers) {
  auto result = run({"--profile", profile(), "--plugin", testsupport::bundlePath(), "info"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  for (const char* expected : {
           "contract ID:  @mozilla.org/messenger/filter-plugin;1?name=bayesianfilter\n",
           "class ID:     {f1070bfa-d539-11d6-90ca-00039310a47a}\n",
           "class name:   Bayesian Filter\n",
           "module name:  nsBayesianFilterModule\n",
           "answers:      nsIJunkMailPlugin, nsIMsgFilterPlugin, nsISupports\n",
           "should download all headers: false\n",
           "user has classified:         true\n",
       })
    EXPECT_NE(result.out.find(expected), std::string::npos) << expected << "\n" << result.out;
  EXPECT_EQ(result.err, "");

  struct stat info {};
  ASSERT_EQ(stat(profile().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u) << "a new profile is the user's alone";
}

TEST_F(MailhostCli, PrefsSyntaxErrorIsOneLineAndDoesNotStopTheHost) {
  mkdir(profile().c_str(), 0700);
  testsupport::writeFile(profile() + "/prefs.js",
                         "user_pref(\"mail.adaptivefilters.junk_threshold\", 90);\n"
                         "user_pref(\"broken\" 1);\n");
  auto result = run({"--profile", profile(), "--plugin", testsupport::bundlePath(), "info"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err,
            "mailhost: " + profile() + "/prefs.js:2: expected ',' after preference name\n");
}

struct BadStart {
  const char* label;
  std::function<std::vector<std::string>(const TempDir&)> args;
  std::string expectedStart; // the whole first part of the one stderr line
  std::string alsoMentions;
};

TEST_F(MailhostCli, EachBadStartIsOneClearLineAndExitOne) {
  const BadStart cases[] = {
      {"missing bundle",
       [](const TempDir& d) {
         return std::vector<std::string>{"--profile", d / "p", "--plugin", d / "nope.so", "info"};
       },
       "mailhost: plug-in bundle not found: ", "nope.so"},
      {"no NSGetModule",
       [](const TempDir& d) {
         return std::vector<std::string>{"--profile", d / "p", "--plugin", NO_ENTRY_BUNDLE_PATH,
                                         "info"};
       },
       "mailhost: cannot load plug-in bundle ", "NSGetModule"},
      {"profile under a file",
       [](const TempDir& d) {
         testsupport::writeFile(d / "plain", "");
         return std::vector<std::string>{"--profile", d / "plain/profile", "--plugin",
                                         testsupport::bundlePath(), "info"};
       },
       "mailhost: cannot use profile folder ", "is not a folder"},
  };
  for (const BadStart& bad : cases) {
    SCOPED_TRACE(bad.label);
    TempDir dir;
    auto result = run(bad.args(dir));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err.rfind(bad.expectedStart, 0), 0u) << result.err;
    EXPECT_NE(result.err.find(bad.alsoMentions), std::string::npos) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(MailhostCli, EachBadUsageIsOneLineWithAPointerToHelpAndExitTwo) {
  struct Usage {
    std::vector<std::string> args;
    std::string line; // the whole line, or its start when it ends in "..."
  };
  const Usage cases[] = {
      {{},
       "mailhost: a command is required (info, classify, mark, list, filter, native-host, account, "
       "watch); see "
       "mailhost "
       "--help\n"},
      {{"frob"}, "mailhost: unknown command \"frob\"; see mailhost --help\n"},
      {{"--no-such-option", "info"}, "mailhost: ..."},
      {{"classify"}, "mailhost: paths is required; see mailhost classify --help\n"},
      {{"mark", "maybe", "x"},
       "mailhost: verdict: maybe not in {junk,good}; see mailhost mark --help\n"},
  };
  for (const Usage& usage : cases) {
    SCOPED_TRACE(testing::PrintToString(usage.args));
    auto result = run(usage.args);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    if (usage.line.ends_with("...")) {
      EXPECT_EQ(result.err.rfind(usage.line.substr(0, usage.line.size() - 3), 0), 0u) << result.err;
      EXPECT_TRUE(result.err.ends_with(" --help\n")) << result.err;
      EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    } else {
      EXPECT_EQ(result.err, usage.line);
    }
  }
}

TEST_F(MailhostCli, VersionAndHelpAnswerBeforeOrAfterTheCommand) {
  for (std::vector<std::string> args :
       {std::vector<std::string>{"--version"}, {"info", "--version"}}) {
    auto result = run(args);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "mailhost " MAILHOST_VERSION "\n");
  }
}

TEST_F(MailhostCli, GlobalOptionsMayFollowTheCommand) {
  auto result = run({"info", "--profile", profile(), "--plugin", testsupport::bundlePath()});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("Profile:        " + profile() + "\n"), std::string::npos)
      << result.out;
  EXPECT_TRUE(std::filesystem::is_directory(profile()));
}

TEST_F(MailhostCli, OutputThatCannotBeWrittenFailsWithOneLine) {
  for (std::vector<std::string> args :
       {std::vector<std::string>{"--profile", profile(), "info"}, {"--help"}}) {
    args.insert(args.begin(), MAILHOST_PATH);
    pid_t pid = testsupport::spawnProcess(args, testsupport::currentEnvironment(), "/dev/full",
                                          mScratch / "err");
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    EXPECT_EQ(testsupport::readFile(mScratch / "err"),
              "mailhost: cannot write the output: No space left on device\n");
  }
}

// The command on PATH is a launcher: a copy of it beside a stand-in program shows what the
// program is started with.
TEST_F(MailhostCli, TheLauncherStartsTheProgramWithTheHostsSettingsOrSaysWhyNot) {
  std::filesystem::create_directories(mScratch / "bin");
  std::filesystem::copy_file(MAILHOST_PATH, mScratch / "bin/mailhost");
  std::vector<std::string> args{mScratch / "bin/mailhost", "classify", "a folder"};

  auto missing = testsupport::runToEnd(args, testsupport::currentEnvironment(), mScratch.path());
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.err, "mailhost: cannot start " +
                             (mScratch / "bin/../libexec/mailhost").string() +
                             ": No such file or directory\n");

  std::filesystem::create_directories(mScratch / "libexec");
  testsupport::writeFile(mScratch / "libexec/mailhost",
                         "#!/bin/sh\nprintf '%s|' \"$@\"; echo; env\n",
                         std::filesystem::perms(0700));
  auto withoutSettings = [](std::vector<std::string> environment) {
    std::erase_if(environment, [](const std::string& entry) {
      return entry.starts_with("G_SLICE=") || entry.starts_with("GLIBC_TUNABLES=") ||
             entry.starts_with("MAILHOST_");
    });
    return environment;
  };
  std::vector<std::string> users = withoutSettings(testsupport::currentEnvironment());
  users.push_back("GLIBC_TUNABLES=glibc.malloc.perturb=0:glibc.malloc.tcache_count=8");
  auto started = testsupport::runToEnd(args, users, mScratch.path());
  ASSERT_EQ(started.exitCode, 0) << started.err;
  EXPECT_TRUE(started.out.starts_with("classify|a folder|\n")) << started.out;
  for (const char* setting :
       {"\nG_SLICE=always-malloc\n",
        "\nGLIBC_TUNABLES=glibc.malloc.perturb=0:glibc.malloc.tcache_count=8:"
        "glibc.malloc.tcache_max=256:glibc.malloc.mxfast=0:glibc.malloc.mmap_threshold=131072\n",
        "\nMAILHOST_GLIBC_TUNABLES_BEFORE==glibc.malloc.perturb=0:glibc.malloc.tcache_count=8\n"})
    EXPECT_NE(started.out.find(setting), std::string::npos) << setting << started.out;

  // A user who chose GLib's allocator keeps their environment as it is.
  users = withoutSettings(testsupport::currentEnvironment());
  users.push_back("G_SLICE=debug-blocks");
  auto usersOwn = testsupport::runToEnd(args, users, mScratch.path());
  EXPECT_NE(usersOwn.out.find("\nG_SLICE=debug-blocks\n"), std::string::npos) << usersOwn.out;
  EXPECT_EQ(usersOwn.out.find("GLIBC_TUNABLES="), std::string::npos) << usersOwn.out;
}

} // namespace
