// `mailhost filter` under real delivery agents (procmail, maildrop) with the real Quellbark: a
// trained spam ends in the Junk folder and good mail in the inbox, each byte for byte as sent plus
// the one verdict field (a forged one replaced); when the verdict cannot be had, the agent keeps
// the message for a later try instead of delivering it.
#include "EndToEnd.h"

using namespace endtoend;

namespace {

class DeliveryFilter : public EndToEndTest {
protected:
  // The command line a delivery agent runs.
  std::string filterCommand() const {
    path build = sandbox::buildDirectory();
    return (build / "bin/mailhost").string() + " --profile " + profile.string() + " --plugin " +
           (build / "lib/QuellbarkPlugIn.so").string() + " filter";
  }

  // A Maildir with a Junk folder, and the agent's recipe file: filter, then junk to .Junk/.
  path recipeFor(const std::string& agent) {
    path maildir = mail / agent;
    for (const path& folder : {maildir, maildir / ".Junk"})
      for (const char* sub : {"cur", "new", "tmp"})
        fs::create_directories(folder / sub);
    std::string recipe;
    if (agent == "procmail")
      recipe = "SHELL=/bin/sh\nMAILDIR=" + maildir.string() +
               "\nDEFAULT=$MAILDIR/\nLOGFILE=" + (box.root / "procmail.log").string() +
               "\n:0fw\n| " + filterCommand() +
               "\n# no verdict: leave the message with the mail system, which tries again\n"
               ":0e\n{ EXITCODE=75 HOST }\n:0\n* ^X-Quellbark-Status: junk\n.Junk/\n";
    else
      recipe = "xfilter \"" + filterCommand() + "\"\nif (/^X-Quellbark-Status: junk/)\n  to \"" +
               (maildir / ".Junk").string() + "/\"\nto \"" + maildir.string() + "/\"\n";
    path file = box.root / (agent + ".rc");
    sandbox::writeFile(file, recipe, fs::perms::owner_read | fs::perms::owner_write);
    return file;
  }

  ProcessRun deliver(const std::string& agent, const std::string& message) {
    path recipe = recipeFor(agent), input = box.root / "incoming";
    sandbox::writeFile(input, message);
    // procmail -p keeps the sandbox's environment (HOME, the runtime folder) for the filter.
    std::string agentCommand = agent == "procmail" ? "procmail -p" : "maildrop";
    return sandbox::runToEnd({"/bin/sh", "-c", "exec " + agentCommand + " \"$0\" < \"$1\"",
                              recipe.string(), input.string()},
                             environment, box.root);
  }

  // The messages delivered to a folder of the agent's Maildir.
  std::vector<std::string> delivered(const std::string& agent, const std::string& folder = "") {
    std::vector<std::string> messages;
    for (const auto& entry : fs::directory_iterator(mail / agent / folder / "new"))
      messages.push_back(sandbox::readFile(entry.path()));
    return messages;
  }

  std::vector<std::string> environment = box.environment();
};

// A fresh message of one kind that claims the other verdict in a folded field.
std::string messageOf(const std::vector<std::string>& words, const std::string& forged) {
  std::string mbox = mboxOf(words, 1, 40);
  return "X-Quellbark-Status: " + forged + "\n  (trust me)\n" + mbox.substr(mbox.find('\n') + 1);
}

TEST_F(DeliveryFilter, TrainedSpamGoesToJunkAndGoodMailToTheInboxWithOneFieldAdded) {
  std::vector<std::string> quellbark = installRealQuellbark();
  environment.insert(environment.end(), quellbark.begin(), quellbark.end());
  for (const char* verdict : {"junk", "good"}) {
    path folder =
        writeMail(verdict, mboxOf(verdict == std::string("junk") ? kSpamWords : kHamWords, 12));
    ProcessRun mark = mailhost({"mark", verdict, folder.string()}, quellbark);
    ASSERT_EQ(mark.exitCode, 0) << mark.err;
  }
  std::string spam = messageOf(kSpamWords, "good"), ham = messageOf(kHamWords, "junk");
  auto stamped = [](const std::string& message, const std::string& verdict) {
    return "X-Quellbark-Status: " + verdict + "\n" + message.substr(message.find("Subject:"));
  };

  for (const std::string agent : {"procmail", "maildrop"}) {
    SCOPED_TRACE(agent);
    ProcessRun spamRun = deliver(agent, spam), hamRun = deliver(agent, ham);
    EXPECT_EQ(spamRun.exitCode, 0) << spamRun.err;
    EXPECT_EQ(hamRun.exitCode, 0) << hamRun.err;
    EXPECT_EQ(delivered(agent, ".Junk"), std::vector<std::string>{stamped(spam, "junk")});
    EXPECT_EQ(delivered(agent), std::vector<std::string>{stamped(ham, "good")});
  }

  // Told by the exit status alone, as other spam filters do.
  sandbox::writeFile(box.root / "spam.eml", spam);
  ProcessRun byStatus =
      sandbox::runToEnd({"/bin/sh", "-c", "exec " + filterCommand() + " --exit-status < \"$0\"",
                         (box.root / "spam.eml").string()},
                        environment, box.root);
  EXPECT_EQ(byStatus.exitCode, 0) << byStatus.err;
}

TEST_F(DeliveryFilter, WithoutQuellbarkTheAgentKeepsTheMessageForLater) {
  std::string message = messageOf(kHamWords, "junk");
  for (const std::string agent : {"procmail", "maildrop"}) {
    SCOPED_TRACE(agent);
    ProcessRun run = deliver(agent, message);
    EXPECT_EQ(run.exitCode, 75) << run.err; // EX_TEMPFAIL: the mail system tries again later
    EXPECT_TRUE(delivered(agent).empty());
  }
  sandbox::writeFile(box.root / "message.eml", message);
  ProcessRun direct = sandbox::runToEnd({"/bin/sh", "-c", "exec " + filterCommand() + " < \"$0\"",
                                         (box.root / "message.eml").string()},
                                        environment, box.root);
  EXPECT_EQ(direct.exitCode, 75);
  ASSERT_FALSE(linesOf(direct.err).empty());
  EXPECT_TRUE(linesOf(direct.err).back().starts_with("mailhost: filter: ")) << direct.err;
}

} // namespace
