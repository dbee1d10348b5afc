// What the user sees of the companion's answers: scores and failed exchanges turned into
// verdicts, a companion that is not installed, training events for the user's verdicts, and
// requests the plug-in refuses reaching the command line.
#include "EndToEnd.h"

#include <fstream>

using namespace endtoend;

namespace {

using Verdicts = EndToEndTest;

struct ScoreCase {
  const char* name;
  const char* reply;
  const char* verdict;
  const char* errorLine; // what the plug-in logs at its default level, if anything
};

// Every message of one batch gets the reply of its row (the reply shapes themselves are the
// bridge tests'). The timed-out exchange comes last: the companion is still busy with it when
// the next event would arrive.
const std::vector<ScoreCase> kScoreCases = {
    {"justBelowTheLimit", "score=shor:49", "good", nullptr},
    {"atTheLimit", "score=shor:50", "junk", nullptr},
    {"errorNumber", "errn=-50 score=shor:100", "good", "error sending score event -50"},
    {"nullReply", "null", "good", nullptr},
    {"noScore", "ok", "good", "error sending score event -1701"},
    {"timeout", "delay=3000 score=shor:100", "good", "error sending score event -1712"},
};

TEST_F(Verdicts, ScoresAndFailedExchangesMapToVerdicts) {
  installCompanion();
  std::ofstream script(box.script, std::ios::trunc);
  std::string mbox;
  std::vector<std::string> expectedErrors;
  for (const ScoreCase& c : kScoreCases) {
    script << c.reply << "\n";
    mbox += (mbox.empty() ? "" : "\n") + std::string("From x\nSubject: ") + c.name + "\n\nbody\n";
    if (c.errorLine)
      expectedErrors.push_back(c.errorLine);
  }
  script.close();
  path inbox = writeMail("Scored", mbox);

  // One second of patience per exchange.
  ProcessRun run =
      mailhost({"classify", "--json", inbox.string()}, {"AE_DEFAULT_TIMEOUT_TICKS=60"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  Json report = Json::parse(run.out);
  ASSERT_EQ(report["messages"].size(), kScoreCases.size());
  for (std::size_t i = 0; i < kScoreCases.size(); ++i)
    EXPECT_EQ(report["messages"][i]["verdict"], kScoreCases[i].verdict) << kScoreCases[i].name;
  EXPECT_EQ(pluginLines(run.err), expectedErrors);
  EXPECT_EQ(events().size(), kScoreCases.size());
}

// Without Quellbark every message is good, the search failure is logged for each, and the user
// is told once.
TEST_F(Verdicts, AMissingCompanionMeansGoodAndOneNotice) {
  path inbox = writeMail("Inbox", "From a\nSubject: 1\n\nx\n\nFrom b\nSubject: 2\n\ny\n\n"
                                  "From c\nSubject: 3\n\nz\n");
  ProcessRun run = mailhost({"classify", "--json", inbox.string()});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  Json report = Json::parse(run.out);
  EXPECT_EQ(report["summary"]["good"], 3);
  std::vector<std::string> perMessage = {"LSFindApplicationForInfo failed -10814.",
                                         "error sending score event -600"};
  std::vector<std::string> expected;
  for (int i = 0; i < 3; ++i)
    expected.insert(expected.end(), perMessage.begin(), perMessage.end());
  EXPECT_EQ(pluginLines(run.err), expected);

  std::vector<Json> notices = sandbox::readJsonLines(box.notices);
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_EQ(notices[0]["title"], "Could Not Find Quellbark");
  EXPECT_TRUE(notices[0]["message"].get<std::string>().starts_with(
      "Thunderbird cannot find the Quellbark application."));
}

TEST_F(Verdicts, TheUsersVerdictsTrainTheCompanionAndAreStored) {
  installCompanion();
  std::string first = "Subject: first\n\none\n", second = "Subject: second\n\ntwo\n";
  path inbox = writeMail("Inbox", "From a\n" + first + "\nFrom b\n" + second);
  std::string uri0 = folderUri(inbox, "0");
  std::string uri1 = folderUri(inbox, std::to_string(7 + first.size() + 1));

  ProcessRun junk = mailhost({"mark", "junk", uri0});
  EXPECT_EQ(junk.exitCode, 0) << junk.err;
  EXPECT_EQ(junk.out, "junk\t" + uri0 + "\t" + inbox.string() + "\n");
  ProcessRun good = mailhost({"mark", "good", inbox.string()});
  EXPECT_EQ(good.exitCode, 0) << good.err;
  EXPECT_EQ(good.out, "good\t" + uri0 + "\t" + inbox.string() + "\ngood\t" + uri1 + "\t" +
                          inbox.string() + "\n");
  EXPECT_EQ(good.err, "");

  std::vector<Json> received = events();
  ASSERT_EQ(received.size(), 3u);
  std::vector<std::string> ids;
  for (const Json& e : received)
    ids.push_back(e["id"]);
  EXPECT_EQ(ids, (std::vector<std::string>{"addS", "addG", "addG"}));
  EXPECT_EQ(messagesReceived(), (std::vector<std::string>{first, first, second}));

  ProcessRun list = mailhost({"list", "--json"});
  EXPECT_EQ(list.exitCode, 0);
  Json stored = Json::parse(list.out);
  ASSERT_EQ(stored.size(), 2u);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(stored[i]["uri"], i == 0 ? uri0 : uri1);
    EXPECT_EQ(stored[i]["score"], 0) << "the later verdict replaces the earlier";
    EXPECT_EQ(stored[i]["origin"], "user");
  }
}

// The only failure that reaches the host is the start of the first stream. From the command
// line it is one line naming what was given, and a failed run; the companion is not involved.
TEST_F(Verdicts, ARefusedRequestIsOneClearLine) {
  installCompanion();
  struct Refused {
    std::string target;
    std::string line;
  };
  for (const Refused& r : {
           Refused{"nosuch:foo", "mailhost: cannot mark nosuch:foo: no message service handles "
                                 "URIs of the scheme \"nosuch\" (0x80040154)"},
           Refused{"no-colon", "mailhost: cannot read folder no-colon: no such file or directory"},
       }) {
    ProcessRun run = mailhost({"mark", "junk", r.target});
    EXPECT_EQ(run.exitCode, 1) << r.target;
    EXPECT_EQ(run.out, "") << r.target;
    EXPECT_EQ(run.err, r.line + "\n");
  }
  EXPECT_TRUE(sandbox::readJsonLines(box.events).empty()) << "nothing launched or sent";
}

} // namespace
