// What the user sees of the companion's answers: scores turned into verdicts and failed exchanges
// into unverified messages, a companion that is not installed or stopped, training events for the
// user's verdicts, and requests the plug-in refuses reaching the command line.
#include "EndToEnd.h"

#include <algorithm>
#include <csignal>
#include <fstream>

using namespace endtoend;

namespace {

using Verdicts = EndToEndTest;

struct ScoreCase {
  const char* name;
  const char* reply;
  const char* verdict;
  const char* why;       // how the host explains an unverified verdict (its start)
  const char* errorLine; // what the plug-in logs at its default level, if anything
};

// Every message of one batch gets the reply of its row (the reply shapes themselves are the
// bridge tests'). The plug-in reports good after every failed exchange; the host shows those as
// unverified. No three failures in a row (that would stop the run); the timed-out exchange comes
// last, as it stops the run too.
const std::vector<ScoreCase> kScoreCases = {
    {"justBelowTheLimit", "score=shor:49", "good", nullptr, nullptr},
    {"errorNumber", "errn=-50 score=shor:100", "unverified",
     "Quellbark could not score the message (error -50)", "error sending score event -50"},
    {"zeroErrorNumber", "errn=0 score=shor:100", "unverified",
     "Quellbark's answer carried an error number, so its score was not used", nullptr},
    {"atTheLimit", "score=shor:50", "junk", nullptr, nullptr},
    {"nullReply", "null", "unverified", "Quellbark's answer carried no score", nullptr},
    {"noScore", "ok", "unverified", "Quellbark's answer carried no score",
     "error sending score event -1701"},
    {"timeout", "delay=3000 score=shor:100", "unverified", "Quellbark did not answer within ",
     "error sending score event -1712"},
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
  EXPECT_EQ(run.exitCode, 3) << run.err;
  Json report = Json::parse(run.out);
  ASSERT_EQ(report["messages"].size(), kScoreCases.size());
  for (std::size_t i = 0; i < kScoreCases.size(); ++i) {
    const ScoreCase& c = kScoreCases[i];
    const Json& m = report["messages"][i];
    EXPECT_EQ(m["verdict"], c.verdict) << c.name;
    EXPECT_EQ(m.value("error", "<none>").starts_with(c.why ? c.why : "<none>"), true) << m.dump();
  }
  EXPECT_EQ(pluginLines(run.err), expectedErrors);
  EXPECT_EQ(linesOf(run.err).back(), "mailhost: 5 messages not verified: " +
                                         report["messages"].back()["error"].get<std::string>());
  EXPECT_EQ(events().size(), kScoreCases.size());
  EXPECT_EQ(linesOf(mailhost({"list"}).out).size(), 2u) << "only real verdicts are stored";
}

// Without Quellbark the user's verdict is stored but not learned; classify keeps it, shows the
// three failed exchanges as unverified and stores nothing for them, then stops sending, and the
// user is told once per run. (What the plug-in logs and shows is the launcher tests'.)
TEST_F(Verdicts, AMissingCompanionMeansUnverifiedAndOneNotice) {
  std::string mbox;
  for (int n = 0; n < 5; ++n)
    mbox += "From a\nSubject: " + std::to_string(n) + "\n\nx\n\n";
  path inbox = writeMail("Inbox", mbox);
  std::string first = folderUri(inbox, "0");

  ProcessRun mark = mailhost({"mark", "junk", first});
  EXPECT_EQ(mark.exitCode, 3) << mark.err;
  EXPECT_EQ(mark.out, "junk\t" + first + "\t" + inbox.string() + "\t(not learned)\n");
  EXPECT_EQ(linesOf(mark.err).back(),
            "mailhost: Quellbark did not learn the verdict on " + first +
                ": Quellbark is not running and could not be launched (-600)");

  ProcessRun run = mailhost({"classify", "--json", inbox.string()});
  EXPECT_EQ(run.exitCode, 3) << run.err;
  Json report = Json::parse(run.out);
  std::vector<std::string> verdicts;
  for (const Json& m : report["messages"])
    verdicts.push_back(m["verdict"]);
  EXPECT_EQ(verdicts, (std::vector<std::string>{"junk", "unverified", "unverified", "unverified",
                                                "unclassified"}));
  EXPECT_EQ(report["messages"][0]["origin"], "user");
  EXPECT_EQ(report["messages"][1]["error"],
            "Quellbark is not running and could not be launched (-600)");
  std::vector<std::string> errLines = linesOf(run.err);
  ASSERT_GE(errLines.size(), 2u);
  EXPECT_EQ(errLines[errLines.size() - 2],
            "mailhost: 3 messages not verified: Quellbark is not running and could not be "
            "launched (-600)");
  EXPECT_EQ(errLines.back(), "mailhost: 1 message not classified, the run stopped: 3 exchanges "
                             "with Quellbark failed in a row, the last: Quellbark is not running "
                             "and could not be launched (-600)");

  Json stored = Json::parse(mailhost({"list", "--json"}).out);
  ASSERT_EQ(stored.size(), 1u) << stored.dump();
  EXPECT_EQ(stored[0]["origin"], "user");
  EXPECT_EQ(stored[0]["trained"], false);

  // Marked again once Quellbark is there, the verdict not learned is sent again.
  installCompanion();
  ProcessRun again = mailhost({"mark", "junk", first});
  EXPECT_EQ(again.exitCode, 0) << again.err;
  EXPECT_EQ(again.out, "junk\t" + first + "\t" + inbox.string() + "\n");
  EXPECT_EQ(Json::parse(mailhost({"list", "--json"}).out)[0]["trained"], true);

  std::vector<Json> notices = sandbox::readJsonLines(box.notices);
  EXPECT_EQ(notices.size(), 2u) << "one per run";
}

// A companion that hangs costs one timeout: that exchange is unverified, the rest of its batch
// fails at once without being sent, and no later batch is asked for.
TEST_F(Verdicts, AStoppedCompanionCostsOneTimeout) {
  installCompanion();
  replies({"score=shor:10"});
  ASSERT_EQ(mailhost({"classify", writeMail("One", "Subject: wake up\n\nx\n").string()}).exitCode,
            0);
  std::vector<pid_t> started = sandbox::startedCompanions(box.events);
  ASSERT_EQ(started.size(), 1u);
  ASSERT_EQ(kill(started[0], SIGSTOP), 0);

  const std::size_t count = 300; // more than one batch
  std::string mbox;
  for (std::size_t n = 0; n < count; ++n)
    mbox += "From a\nSubject: " + std::to_string(n) + "\n\nx\n\n";
  path inbox = writeMail("Inbox", mbox);
  ProcessRun run =
      mailhost({"classify", "--json", inbox.string()}, {"AE_DEFAULT_TIMEOUT_TICKS=30"});
  kill(started[0], SIGCONT);
  EXPECT_EQ(run.exitCode, 3) << run.err;

  Json report = Json::parse(run.out);
  EXPECT_EQ(report["summary"]["unverified"], 1);
  EXPECT_EQ(report["summary"]["unclassified"], count - 1);
  std::string why = report["messages"][0]["error"];
  EXPECT_TRUE(why.starts_with("Quellbark did not answer within ") && why.ends_with(" s (-1712)"))
      << why;
  std::vector<std::string> lines = pluginLines(run.err);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "error sending score event -1712"), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "error sending score event -1711"), 255)
      << "refused at once for the rest of the first batch, none for the second";
  EXPECT_EQ(linesOf(run.err).back(),
            "mailhost: 299 messages not classified, the run stopped: " + why);
  EXPECT_EQ(mailhost({"list", inbox.string()}).out, "") << "nothing stored";
  EXPECT_EQ(mailhost({"list", "--json", inbox.string()}).out, "[]\n");
}

TEST_F(Verdicts, TheUsersVerdictsTrainTheCompanionAndAreStored) {
  installCompanion();
  replies({"score=shor:90"}); // read once, when the companion starts
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

  // Marked so already: nothing is sent, unless asked for again.
  ProcessRun twice = mailhost({"mark", "good", inbox.string()});
  EXPECT_EQ(twice.exitCode, 0) << twice.err;
  EXPECT_EQ(twice.out, "good\t" + uri0 + "\t" + inbox.string() + "\t(already marked)\ngood\t" +
                           uri1 + "\t" + inbox.string() + "\t(already marked)\n");
  ProcessRun again = mailhost({"mark", "good", "--again", uri1});
  EXPECT_EQ(again.exitCode, 0) << again.err;
  EXPECT_EQ(again.out, "good\t" + uri1 + "\t" + inbox.string() + "\n");

  std::vector<Json> received = events();
  ASSERT_EQ(received.size(), 4u);
  std::vector<std::string> ids;
  for (const Json& e : received)
    ids.push_back(e["id"]);
  EXPECT_EQ(ids, (std::vector<std::string>{"addS", "addG", "addG", "addG"}));
  EXPECT_EQ(messagesReceived(), (std::vector<std::string>{first, first, second, second}));

  ProcessRun list = mailhost({"list", "--json"});
  Json stored = Json::parse(list.out);
  ASSERT_EQ(stored.size(), 2u);
  EXPECT_EQ(list.out, stored.dump(2) + "\n") << "written entry by entry, laid out as one document";
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(stored[i]["uri"], i == 0 ? uri0 : uri1);
    EXPECT_EQ(stored[i]["score"], 0) << "the later verdict replaces the earlier";
    EXPECT_EQ(stored[i]["origin"], "user");
    EXPECT_EQ(stored[i]["trained"], true);
  }

  // The user's verdicts win over the plug-in's unless asked otherwise.
  ProcessRun kept = mailhost({"classify", inbox.string()});
  EXPECT_EQ(kept.exitCode, 0) << kept.err;
  EXPECT_EQ(kept.out, "good\t" + uri0 + "\t" + inbox.string() + "\t(yours)\ngood\t" + uri1 + "\t" +
                          inbox.string() +
                          "\t(yours)\n2 messages: 0 junk, 2 good, 0 not classified\n");
  EXPECT_EQ(events().size(), 4u) << "nothing sent";
  ProcessRun replaced = mailhost({"classify", "--reclassify", "--json", inbox.string()});
  EXPECT_EQ(replaced.exitCode, 0) << replaced.err;
  EXPECT_EQ(Json::parse(replaced.out)["summary"]["junk"], 2);
  EXPECT_EQ(events().size(), 6u);
  for (const Json& status : Json::parse(mailhost({"list", "--json"}).out)) {
    EXPECT_EQ(status["origin"], "plugin");
    EXPECT_EQ(status["score"], 100);
  }
}

// The only failure that reaches the host is the start of the first stream. From the command
// line it is one line naming what was given, and a failed run; the companion is not involved.
// A run is marked a chunk of messages at a time: across a chunk's end and from one folder into
// the next, every message is sent once, in folder order, and reported in that order.
TEST_F(Verdicts, MarkingMoreThanAChunkSendsAndReportsEveryMessageInOrder) {
  installCompanion();
  replies({"score=shor:90"});
  std::vector<std::string> uris;
  auto mbox = [&](const std::string& name, int count) {
    std::string bytes;
    std::vector<std::size_t> offsets;
    for (int i = 0; i < count; ++i) {
      offsets.push_back(bytes.size());
      bytes += "From m\nSubject: " + name + " " + std::to_string(i) + "\n\nbody\n\n";
    }
    path file = writeMail(name, bytes);
    for (std::size_t offset : offsets)
      uris.push_back(folderUri(file, std::to_string(offset)));
    return file;
  };
  path big = mbox("Big", 1500);
  path small = mbox("Small", 3);

  ProcessRun junk = mailhost({"mark", "--json", "junk", big.string(), small.string()});
  ASSERT_EQ(junk.exitCode, 0) << junk.err;
  Json marked = Json::parse(junk.out);
  ASSERT_EQ(marked.size(), uris.size());
  for (std::size_t i = 0; i < uris.size(); ++i) {
    ASSERT_EQ(marked[i]["uri"], uris[i]) << i;
    ASSERT_EQ(marked[i]["confirmed"], true) << i;
  }
  std::vector<std::string> received = messagesReceived();
  ASSERT_EQ(received.size(), uris.size());
  EXPECT_EQ(received[999], "Subject: Big 999\n\nbody\n");
  EXPECT_EQ(received[1000], "Subject: Big 1000\n\nbody\n");
  EXPECT_EQ(received.back(), "Subject: Small 2\n\nbody\n\n"); // the last keeps its blank line

  // Marked so already, the text lines say so, every one in order.
  std::vector<std::string> lines =
      linesOf(mailhost({"mark", "junk", big.string(), small.string()}).out);
  ASSERT_EQ(lines.size(), uris.size());
  for (std::size_t i = 0; i < uris.size(); ++i)
    ASSERT_TRUE(lines[i].starts_with("junk\t" + uris[i] + "\t")) << lines[i];
  EXPECT_EQ(messagesReceived().size(), uris.size()) << "nothing sent twice";
}

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
