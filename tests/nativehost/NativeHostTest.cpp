// `mailhost native-host` as the mail client's extension meets it: a process speaking
// native-messaging frames, with the built plug-in, and the scripted companion or the real
// Quellbark found by Launch Services in the test's sandbox.
#include "EndToEnd.h"
#include "NativeHostProcess.h"

#include <csignal>
#include <fstream>
#include <thread>

using namespace endtoend;
using nativehost::base64;
using nativehost::NativeHostProcess;

namespace {

Json entry(int id, std::string_view bytes) {
  return {{"id", id}, {"raw", base64(bytes)}};
}

class NativeHost : public EndToEndTest {
protected:
  std::unique_ptr<NativeHostProcess> start(std::vector<std::string> extraEnvironment = {},
                                           path plugin = sandbox::buildDirectory() /
                                                         "lib/QuellbarkPlugIn.so") {
    path build = sandbox::buildDirectory();
    std::vector<std::string> environment = box.environment();
    environment.insert(environment.end(), extraEnvironment.begin(), extraEnvironment.end());
    // As the mail client starts it: the manifest's path and the extension's id follow.
    return std::make_unique<NativeHostProcess>(
        std::vector<std::string>{(build / "bin/mailhost").string(), "--profile", profile.string(),
                                 "--plugin", plugin.string(), "native-host",
                                 "/somewhere/manifest.json", "ext@example.org"},
        environment);
  }

  // The verdict of each result, in order.
  static std::vector<std::string> verdicts(const Json& answer) {
    std::vector<std::string> result;
    for (const Json& r : answer.value("results", Json::array()))
      result.push_back(r.value("verdict", "?"));
    return result;
  }
};

TEST_F(NativeHost, TrainsTheRealQuellbarkAndClassifiesABatchWithItsBadEntries) {
  fs::copy(sandbox::buildDirectory() / "Quellbark.app", box.applicationPath / "Quellbark.app",
           fs::copy_options::recursive);
  path record = box.root / "record.jsonl";
  auto host = start({"QUELLBARK_DATA_DIR=" + (box.root / "quellbark-data").string(),
                     "QUELLBARK_NATIVE_RECORD=" + record.string()});
  for (int n = 0; n < 12; ++n) {
    for (auto [words, as] : {std::pair{&kSpamWords, "junk"}, std::pair{&kHamWords, "good"}}) {
      Json trained = host->ask({{"type", "train"},
                                {"id", n},
                                {"message", entry(100 + n, messageOf(*words, n))},
                                {"as", as}});
      ASSERT_EQ(trained["ok"], true) << trained.dump();
      ASSERT_EQ(trained["trained"], true) << trained.dump();
    }
  }
  Json state = host->ask({{"type", "state"}, {"id", "s"}});
  EXPECT_EQ(state["plugin"]["loaded"], true);
  EXPECT_EQ(state["quellbark"]["found"], true);
  EXPECT_EQ(state["quellbark"]["running"], true);
  EXPECT_EQ(state["quellbark"]["learnedSpam"], 12) << state.dump();
  EXPECT_EQ(state["quellbark"]["learnedGood"], 12) << state.dump();

  Json batch = {{"type", "classify"},
                {"id", 7},
                {"messages",
                 {entry(1, messageOf(kSpamWords, 40)),
                  entry(2, messageOf(kHamWords, 41)),
                  {{"id", 3}, {"raw", "not base64!"}},
                  entry(1, messageOf(kHamWords, 42)),
                  {{"id", -4}, {"raw", base64(messageOf(kHamWords, 43))}},
                  entry(5, messageOf(kHamWords, 44))}}};
  Json answer = host->ask(batch);
  EXPECT_EQ(answer["id"], 7);
  EXPECT_EQ(verdicts(answer),
            (std::vector<std::string>{"junk", "good", "error", "error", "error", "good"}))
      << answer.dump();
  host->ask({{"type", "confirm"}, {"messages", {{{"id", 1}, {"junk", true}}}}});
  host->closeInput();
  EXPECT_EQ(host->wait(), 0);

  std::vector<Json> lines = sandbox::readJsonLines(record);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), (Json{{"event", "set"}, {"id", 1}, {"junk", true}, {"moved", false}}));
  EXPECT_EQ(fs::status(record).permissions() & fs::perms::all,
            fs::perms::owner_read | fs::perms::owner_write);
}

// A verdict is junk or good only when Quellbark answered it; the plug-in's "good" after a
// failed exchange must not reach the client as good.
TEST_F(NativeHost, AFailedExchangeIsUnverifiedNeverGood) {
  struct Case {
    const char* name;
    std::vector<std::string> replies;
    bool installed;
    std::vector<std::string> expected;
  };
  const std::vector<Case> cases = {
      {"answered", {"score=shor:100", "score=shor:0"}, true, {"junk", "good"}},
      {"errorNumber", {"errn=-50 score=shor:100", "score=shor:100"}, true, {"unverified", "junk"}},
      {"missing", {}, false, {"unverified", "unverified"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove_all(box.applicationPath);
    fs::create_directories(box.applicationPath);
    if (c.installed)
      installCompanion();
    std::ofstream(box.script, std::ios::trunc);
    for (const std::string& line : c.replies)
      std::ofstream(box.script, std::ios::app) << line << "\n";
    auto host = start();
    Json answer = host->ask(
        {{"type", "classify"},
         {"messages", {entry(1, messageOf(kSpamWords, 1)), entry(2, messageOf(kHamWords, 2))}}});
    EXPECT_EQ(verdicts(answer), c.expected) << answer.dump();
    for (const Json& r : answer["results"]) {
      if (r["verdict"] == "unverified") {
        EXPECT_FALSE(r.value("error", "").empty()) << "an unverified verdict says why";
      }
    }
    Json train = host->ask(
        {{"type", "train"}, {"message", entry(3, messageOf(kSpamWords, 3))}, {"as", "junk"}});
    EXPECT_EQ(train["trained"], c.installed) << train.dump(); // a training answer carries nothing
    host->closeInput();
    EXPECT_EQ(host->wait(), 0);
    // Gone and unregistered before the next case, which would otherwise find it running.
    for (pid_t pid : sandbox::startedCompanions(box.events))
      ::kill(pid, SIGTERM);
    for (int i = 0; i < 200 && !sandbox::runningApps().empty(); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    fs::remove(box.events);
  }
}

TEST_F(NativeHost, BadFramesGetAnErrorAndTheHostKeepsServingUntilTheInputCloses) {
  auto host = start();
  struct Case {
    std::string frame;
    std::string error;
  };
  const std::vector<Case> cases = {
      {"not json", "not JSON"},
      {R"({"id":1,"type":"reboot"})", "unknown request type"},
      {R"({"id":1,"type":"classify","messages":{}})", "must be an array"},
      {R"({"id":1,"type":"train","message":{"id":2,"raw":""},"as":"spam"})", "\"as\""},
  };
  for (const Case& c : cases) {
    host->sendFrame(c.frame);
    std::optional<Json> answer = host->receive();
    ASSERT_TRUE(answer) << c.frame;
    EXPECT_EQ((*answer)["ok"], false) << c.frame;
    EXPECT_NE((*answer)["error"].get<std::string>().find(c.error), std::string::npos)
        << c.frame << " -> " << answer->dump();
  }
  // Over the frame limit: read through and refused, and the next frame is found.
  std::uint32_t huge = 64 * 1024 * 1024 + 1;
  host->sendRaw(std::string_view(reinterpret_cast<const char*>(&huge), 4));
  host->sendRaw(std::string(huge, 'x'));
  std::optional<Json> refused = host->receive();
  ASSERT_TRUE(refused);
  EXPECT_NE((*refused)["error"].get<std::string>().find("at most 64 MiB"), std::string::npos);
  Json tooMany = {{"type", "classify"}, {"messages", Json::array()}};
  for (int i = 0; i < 501; ++i)
    tooMany["messages"].push_back(entry(i, "Subject: x\r\n\r\nx\r\n"));
  EXPECT_NE(host->ask(tooMany)["error"].get<std::string>().find("at most 500"), std::string::npos);
  EXPECT_EQ(host->ask({{"type", "state"}})["ok"], true);
  // A frame cut short by the client's end: the host ends cleanly.
  host->sendRaw(std::string("\x10\x00\x00\x00{\"ty", 8));
  host->closeInput();
  EXPECT_FALSE(host->receive());
  EXPECT_EQ(host->wait(), 0);
  EXPECT_EQ(fs::directory_iterator(profile), fs::directory_iterator())
      << "nothing is written to the profile";
}

TEST_F(NativeHost, WithoutItsPlugInEveryRequestIsAnsweredWithWhy) {
  auto host = start({}, box.root / "missing.so");
  Json state = host->ask({{"type", "state"}, {"id", 1}});
  EXPECT_EQ(state["ok"], false);
  EXPECT_EQ(state["plugin"]["loaded"], false);
  EXPECT_NE(state["plugin"]["problem"].get<std::string>().find("missing.so"), std::string::npos)
      << state.dump();
  Json classify =
      host->ask({{"type", "classify"}, {"messages", {entry(1, messageOf(kHamWords, 1))}}});
  EXPECT_EQ(classify["ok"], false) << "no verdict without the plug-in";
  host->closeInput();
  EXPECT_EQ(host->wait(), 0);
}

} // namespace
