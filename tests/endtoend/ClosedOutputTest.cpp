// classify's results going where they cannot be written: a reader that goes away after the
// first line, with SIGPIPE as shells leave it and ignored. The run must end there, not classify
// the rest of the folder. (A full disk's one line is the host's CLI test's.)
#include "EndToEnd.h"

using namespace endtoend;

namespace {

using ClosedOutput = EndToEndTest;

TEST_F(ClosedOutput, TheRunEndsWhereItsResultsCannotBeWritten) {
  constexpr std::size_t kMessages = 1500; // several batches
  installCompanion();
  replies({"score=shor:10"});
  std::string mbox;
  for (std::size_t i = 0; i < kMessages; ++i)
    mbox += "From x\nSubject: message " + std::to_string(i) + "\n\nbody\n\n";
  path inbox = writeMail("Inbox", mbox);
  path build = sandbox::buildDirectory();

  struct Ending {
    const char* name;
    const char* shell; // runs "$@", mailhost's command line, and exits with mailhost's status
    int exitCode;
    const char* err;
  };
  const Ending endings[] = {
      {"closed pipe", R"("$@" | head -1 >/dev/null; exit ${PIPESTATUS[0]})", 128 + SIGPIPE, ""},
      {"closed pipe, SIGPIPE ignored",
       R"(trap '' PIPE; "$@" | head -1 >/dev/null; exit ${PIPESTATUS[0]})", 1,
       "mailhost: cannot write the output: Broken pipe\n"},
  };
  for (const Ending& ending : endings) {
    SCOPED_TRACE(ending.name);
    fs::remove(box.events);
    fs::remove_all(profile);
    ProcessRun run = sandbox::runToEnd(
        {"/bin/bash", "-c", ending.shell, "bash", (build / "bin/mailhost").string(), "--profile",
         profile.string(), "--plugin", (build / "lib/QuellbarkPlugIn.so").string(), "classify",
         inbox.string()},
        box.environment(), box.root);
    EXPECT_EQ(run.exitCode, ending.exitCode);
    EXPECT_EQ(run.err, ending.err);
    // Stopped at the batch whose results could not be written; the rest never asked for.
    std::size_t asked = events().size();
    EXPECT_GT(asked, 0u);
    EXPECT_LT(asked, kMessages / 2);
  }
}

} // namespace
