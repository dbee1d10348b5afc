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

// Keeps Thunderbird to this machine: every connection it would make goes through a "proxy" on a
// closed port of loopback, names are not looked up, and the start-up dialogs stay away.
const char* kQuietPreferences = R"(
user_pref("network.proxy.type", 1);
user_pref("network.proxy.http", "127.0.0.1");
user_pref("network.proxy.http_port", 9);
user_pref("network.proxy.ssl", "127.0.0.1");
user_pref("network.proxy.ssl_port", 9);
user_pref("network.proxy.socks_remote_dns", true);
user_pref("network.proxy.no_proxies_on", "");
user_pref("network.trr.mode", 5);
user_pref("network.dns.disablePrefetch", true);
user_pref("network.connectivity-service.enabled", false);
user_pref("network.captive-portal-service.enabled", false);
user_pref("mail.shell.checkDefaultClient", false);
user_pref("mail.provider.suppress_dialog_on_startup", true);
user_pref("devtools.console.stdout.content", true);
)";

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
    std::ofstream prefs(tbProfile() / "user.js");
    prefs << kQuietPreferences << R"(
user_pref("xpinstall.signatures.required", false);
user_pref("extensions.autoDisableScopes", 0);
user_pref("extensions.startupScanScopes", 15);
user_pref("mail.account.account1.server", "server1");
user_pref("mail.accountmanager.accounts", "account1");
user_pref("mail.accountmanager.localfoldersserver", "server1");
user_pref("mail.server.server1.directory", ")"
          << local.string() << R"(");
user_pref("mail.server.server1.hostname", "Local Folders");
user_pref("mail.server.server1.name", "Local Folders");
user_pref("mail.server.server1.type", "none");
user_pref("mail.server.server1.userName", "nobody");
user_pref("mail.server.server1.moveOnSpam", true);
user_pref("mail.server.server1.moveTargetMode", 0);
user_pref("mail.server.server1.spamActionTargetAccount", "mailbox://nobody@Local%20Folders");
)";
    prefs.close();
    path extensions = tbProfile() / "extensions";
    fs::create_directories(extensions);
    fs::copy_file(sandbox::buildDirectory() / "thunderbird/quellbark-junkfilter.xpi",
                  extensions / (std::string(kExtensionId) + ".xpi"));
    packHelper(extensions / "arrival@test.example.xpi");
  }

  // The helper: imports the spam, then the good message, into the Inbox as new mail; once the
  // spam has been dealt with, marks the good message junk as a user would.
  void packHelper(const path& xpi) {
    path dir = box.root / "helper";
    fs::create_directories(dir);
    sandbox::writeFile(dir / "spam.eml", messageOf(kSpamWords, 1));
    sandbox::writeFile(dir / "ham.eml", messageOf(kHamWords, 1));
    sandbox::writeFile(
        dir / "manifest.json",
        Json{{"manifest_version", 2},
             {"name", "arrival"},
             {"version", "1.0"},
             {"browser_specific_settings", {{"gecko", {{"id", "arrival@test.example"}}}}},
             {"background", {{"scripts", {"background.js"}}}},
             {"permissions",
              {"accountsRead", "messagesRead", "messagesImport", "messagesUpdate", "management"}}}
            .dump());
    sandbox::writeFile(dir / "background.js", R"(
const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
async function findInbox() {
  for (const account of await browser.accounts.list(true)) {
    const stack = [account.rootFolder];
    while (stack.length) {
      const folder = stack.pop();
      if (folder.name === "Inbox") return folder;
      stack.push(...(folder.subFolders ?? []));
    }
  }
  throw new Error("no Inbox");
}
async function deliver(name, folder) {
  const blob = await (await fetch(browser.runtime.getURL(name))).blob();
  return browser.messages.import(new File([blob], name), folder.id, { new: true });
}
(async () => {
  for (let i = 0; i < 100; i++) {
    const other = await browser.management.get(")" +
                                                  std::string(kExtensionId) +
                                                  R"(").catch(() => null);
    if (other?.enabled) break;
    await sleep(100);
  }
  await sleep(2000); // its background page registers its listeners as it loads
  const inbox = await findInbox();
  const spam = await deliver("spam.eml", inbox);
  const ham = await deliver("ham.eml", inbox);
  console.log(`arrival: spam=${spam.id} ham=${ham.id}`);
  for (let i = 0; i < 600; i++) {
    const now = await browser.messages.get(spam.id).catch(() => null);
    if (!now || now.junk) break;
    await sleep(100);
  }
  await sleep(1000);
  await browser.messages.update(ham.id, { junk: true });
  console.log("arrival: marked");
})().catch((error) => console.log(`arrival: failed: ${error}`));
)");
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
