// The pid a process remembers for itself is never its parent's after a fork.
#include <unix/ThisProcess.h>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

TEST(ThisProcess, AForkedChildAnswersWithItsOwnPid) {
  ASSERT_EQ(os::thisProcessID(), getpid()); // remembered from here on
  pid_t child = fork();
  if (child == 0)
    _exit(os::thisProcessID() == getpid() ? 0 : 1);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(os::thisProcessID(), getpid());
}
