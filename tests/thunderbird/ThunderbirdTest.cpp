// The extension in a real, headless Thunderbird: a profile made here with a Local Folders
// account, the built extension and the native host's manifest where Thunderbird looks, and the
// real Quellbark trained beforehand. A small helper extension of this test plays the mail's
// arrival (it imports two messages into the Inbox flagged new, as delivered mail is) and the
// user (it marks one message junk by hand). What the native host answered, what the extension
// confirmed it set and what it asked to train are read back from the host's record file.
#include "EndToEnd.h"

#include <csignal>
#include <fstream>
#include <regex>
#include <sys/wait.h>
#include <thread>

using namespace endtoend;

namespace {

constexpr const char* kThunderbird = "/usr/bin/thunderbird";
constexpr const char* kExtensionId = "junkfilter@quellbark.app";

const path kTestFiles = QB_THUNDERBIRD_TEST_DIR;

class RealThunderbird : public EndToEndTest {
protected:
  void SetUp() override {
    if (!fs::exists(kThunderbird))
      GTEST_SKIP() << "Debian's thunderbird is not installed (scripts/install-deps.sh)";
    fs::copy(sandbox::buildDirectory() / "Quellbark.app", box.applicationPath / "Quellbark.app",
             fs::copy_options::recursive);
    environment = box.environment();
    environment.push_back("QUELLBARK_DATA_DIR=" + (box.root / "quellbark-data").string());
    environment.push_back("QUELLBARK_NATIVE_RECORD=" + record().string());
    environment.push_back("MOZ_HEADLESS=1");
  }

  void TearDown() override {
    if (thunderbird > 0) {
      // Asked to quit first, so that its own child processes end with it.
      ::kill(thunderbird, SIGTERM);
      int status = 0;
      for (int i = 0; i < 200 && ::waitpid(thunderbird, &status, WNOHANG) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      if (::waitpid(thunderbird, &status, WNOHANG) == 0) {
        ::kill(thunderbird, SIGKILL);
        ::waitpid(thunderbird, &status, 0);
      }
    }
  }

  path record() const { return box.root / "record.jsonl"; }
  path tbProfile() const { return box.root / "thunderbird-profile"; }

  void trainQuellbark() {
    std::string spam, ham;
    for (int n = 0; n < 12; ++n) {
      spam += "From x Mon Jan  1 00:00:00 2024\n" + messageOf(kSpamWords, 100 + n) + "\n";
      ham += "From x Mon Jan  1 00:00:00 2024\n" + messageOf(kHamWords, 100 + n) + "\n";
    }
    for (auto [kind, mbox] :
         {std::pair{"junk", writeMail("spam", spam)}, std::pair{"good", writeMail("ham", ham)}}) {
      ProcessRun run = mailhost({"mark", kind, mbox.string()},
                                {"QUELLBARK_DATA_DIR=" + (box.root / "quellbark-data").string()});
      ASSERT_EQ(run.exitCode, 0) << run.err;
    }
  }

  void installNativeHost() {
    path build = sandbox::buildDirectory();
    path program = box.root / "quellbark-native-host";
    sandbox::writeFile(
        program,
        "#!/bin/sh\nexec '" + (build / "bin/mailhost").string() + "' --profile '" +
            profile.string() + "' --plugin '" + (build / "lib/QuellbarkPlugIn.so").string() +
            "' native-host \"$@\" 2>>'" + (box.root / "native-host.log").string() + "'\n",
        fs::perms(0700));
    Json manifest = {{"name", "com.quellbark.mailhost"},
                     {"description", "test"},
                     {"path", program.string()},
                     {"type", "stdio"},
                     {"allowed_extensions", {kExtensionId}}};
    sandbox::writeFile(box.home / ".mozilla/native-messaging-hosts/com.quellbark.mailhost.json",
                       manifest.dump());
  }

  void makeProfile() {
    path local = tbProfile() / "Mail/Local Folders";
    fs::create_directories(local);
    sandbox::writeFile(local / "Inbox", "");
    sandbox::writeFile(local / "Junk", "");
    fs::copy_file(kTestFiles / "user.js", tbProfile() / "user.js");
    std::ofstream(tbProfile() / "user.js", std::ios::app)
        << "user_pref(\"mail.server.server1.directory\", \"" << local.string() << "\");\n";
    path extensions = tbProfile() / "extensions";
    fs::create_directories(extensions);
    fs::copy_file(sandbox::buildDirectory() / "thunderbird/quellbark-junkfilter.xpi",
                  extensions / (std::string(kExtensionId) + ".xpi"));
    packHelper(extensions / "arrival@test.example.xpi");
  }

  // The helper extension (arrival/), with the two messages it delivers.
  void packHelper(const path& xpi) {
    path dir = box.root / "helper";
    fs::create_directories(dir);
    sandbox::writeFile(dir / "spam.eml", messageOf(kSpamWords, 1));
    sandbox::writeFile(dir / "ham.eml", messageOf(kHamWords, 1));
    for (const char* file : {"manifest.json", "background.js"})
      fs::copy_file(kTestFiles / "arrival" / file, dir / file);
    ProcessRun zip = sandbox::runToEnd(
        {"/usr/bin/zip", "-q", "-j", xpi.string(), (dir / "manifest.json").string(),
         (dir / "background.js").string(), (dir / "spam.eml").string(), (dir / "ham.eml").string()},
        environment, box.root);
    ASSERT_EQ(zip.exitCode, 0) << zip.err;
  }

  // Waits (at most four minutes: a loaded machine starts Thunderbird slowly) until the record holds
  // what `done` looks for.
  std::vector<Json> waitForRecord(const std::function<bool(const std::vector<Json>&)>& done) {
    std::vector<Json> lines;
    for (int i = 0; i < 2400; ++i) {
      lines = fs::exists(record()) ? sandbox::readJsonLines(record()) : std::vector<Json>{};
      if (done(lines))
        break;
      int status = 0;
      if (::waitpid(thunderbird, &status, WNOHANG) == thunderbird) {
        thunderbird = -1;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return lines;
  }

  std::vector<std::string> environment;
  pid_t thunderbird = -1;
};

std::vector<Json> eventsOf(const std::vector<Json>& lines, const std::string& kind) {
  std::vector<Json> result;
  for (const Json& line : lines)
    if (line["event"] == kind)
      result.push_back(line);
  return result;
}

TEST_F(RealThunderbird, NewMailIsClassifiedFlaggedAndMovedAndTheUsersMarkTrainsQuellbark) {
  trainQuellbark();
  installNativeHost();
  makeProfile();
  path output = box.root / "thunderbird.out";
  thunderbird = sandbox::spawnProcess(
      {kThunderbird, "--headless", "-profile", tbProfile().string(), "--no-remote"}, environment,
      output);

  std::vector<Json> lines =
      waitForRecord([](const std::vector<Json>& l) { return !eventsOf(l, "train").empty(); });
  std::string log = sandbox::readFile(output);
  std::smatch ids;
  ASSERT_TRUE(std::regex_search(log, ids, std::regex("arrival: spam=(\\d+) ham=(\\d+)")))
      << "the helper did not deliver the mail:\n"
      << log.substr(log.size() > 4000 ? log.size() - 4000 : 0);
  int spam = std::stoi(ids[1]), ham = std::stoi(ids[2]);

  std::vector<Json> verdicts = eventsOf(lines, "verdict");
  EXPECT_EQ(verdicts, (std::vector<Json>{{{"event", "verdict"}, {"id", spam}, {"verdict", "junk"}},
                                         {{"event", "verdict"}, {"id", ham}, {"verdict", "good"}}}))
      << sandbox::readFile(record()) << sandbox::readFile(box.root / "native-host.log");
  EXPECT_EQ(
      eventsOf(lines, "set"),
      (std::vector<Json>{{{"event", "set"}, {"id", spam}, {"junk", true}, {"moved", true}},
                         {{"event", "set"}, {"id", ham}, {"junk", false}, {"moved", false}}}));
  // The user's mark is trained; the extension's own flag on the spam is not.
  EXPECT_EQ(
      eventsOf(lines, "train"),
      (std::vector<Json>{{{"event", "train"}, {"id", ham}, {"as", "junk"}, {"trained", true}}}));
}

} // namespace
