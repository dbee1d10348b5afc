// classify's results going where they cannot be written: a reader that goes away after the
// first line, with SIGPIPE as shells leave it and ignored, and a full disk. The run must end
// there, not classify the rest of the folder.
#include "EndToEnd.h"

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace endtoend;

namespace {

constexpr int kMessages = 1500; // several batches

class ClosedOutput : public EndToEndTest {
protected:
  void SetUp() override {
    installCompanion();
    replies({"score=shor:10"});
    std::string mbox;
    for (int i = 0; i < kMessages; ++i)
      mbox += "From x\nSubject: message " + std::to_string(i) + "\n\nbody\n\n";
    inbox = writeMail("Inbox", mbox);
  }

  std::vector<std::string> classifyCommand() const {
    path build = sandbox::buildDirectory();
    return {(build / "bin/mailhost").string(),           "--profile", profile.string(), "--plugin",
            (build / "lib/QuellbarkPlugIn.so").string(), "classify",  inbox.string()};
  }

  // Starts arguments with stdout on output (a descriptor of this process) and stderr in a file.
  pid_t start(const std::vector<std::string>& arguments, int output) const {
    std::vector<char*> argv, envp;
    for (const std::string& a : arguments)
      argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    std::vector<std::string> environment = box.environment();
    for (const std::string& e : environment)
      envp.push_back(const_cast<char*>(e.c_str()));
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, 1);
    posix_spawn_file_actions_addopen(&actions, 2, errors().c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    pid_t pid = -1;
    int failed = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (failed)
      throw std::runtime_error("cannot start " + arguments[0]);
    return pid;
  }

  path errors() const { return box.root / "run.err"; }
  path inbox;
};

struct Ending {
  const char* name;
  bool ignoreSigpipe;
  bool fullDisk;
  int signal;            // the signal that ends the run, or 0
  const char* errorLine; // else its one line on stderr (exit 1)
};

TEST_F(ClosedOutput, TheRunEndsWhereItsResultsCannotBeWritten) {
  const Ending endings[] = {
      {"closed pipe", false, false, SIGPIPE, nullptr},
      {"closed pipe, SIGPIPE ignored", true, false, 0,
       "mailhost: cannot write the output: Broken pipe"},
      {"full disk", false, true, 0, "mailhost: cannot write the output: No space left on device"},
  };
  for (const Ending& ending : endings) {
    SCOPED_TRACE(ending.name);
    std::filesystem::remove(box.events);
    std::filesystem::remove_all(profile);
    std::vector<std::string> command = classifyCommand();
    if (ending.ignoreSigpipe)
      command.insert(command.begin(), {"/bin/sh", "-c", "trap '' PIPE; exec \"$@\"", "sh"});

    pid_t pid;
    if (ending.fullDisk) {
      int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
      ASSERT_GE(full, 0);
      pid = start(command, full);
      close(full);
    } else {
      int pipeEnds[2];
      ASSERT_EQ(pipe2(pipeEnds, O_CLOEXEC), 0);
      pid = start(command, pipeEnds[1]);
      close(pipeEnds[1]);
      // The reader takes the first line and goes away, as `| head -1` does.
      char c = 0;
      while (read(pipeEnds[0], &c, 1) == 1 && c != '\n') {
      }
      EXPECT_EQ(c, '\n');
      close(pipeEnds[0]);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);

    std::string err = sandbox::readFile(errors());
    if (ending.signal) {
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == ending.signal) << status << err;
      EXPECT_EQ(err, "");
    } else {
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
      EXPECT_EQ(err, std::string(ending.errorLine) + "\n");
    }
    // Stopped at the batch whose results could not be written, the rest never asked for.
    std::size_t asked = events().size();
    EXPECT_GT(asked, 0u);
    EXPECT_LT(asked, static_cast<std::size_t>(kMessages) / 2);
  }
}

} // namespace
