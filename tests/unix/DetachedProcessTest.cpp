// A detached program starts as one the desktop started: nothing of its launcher's thread's
// temporary state, here the one CPU the launching thread was held to.
#include <unix/DetachedProcess.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

TEST(DetachedProcess, DoesNotKeepTheOneCpuItsLaunchingThreadWasHeldTo) {
  cpu_set_t before;
  ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
  if (CPU_COUNT(&before) < 2)
    GTEST_SKIP() << "one CPU: nothing to tell apart";
  const std::filesystem::path out =
      std::filesystem::temp_directory_path() / ("detached-cpus-" + std::to_string(getpid()));
  std::filesystem::remove(out);

  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  const std::string script = "nproc > '" + out.string() + ".part' && mv '" + out.string() +
                             ".part' '" + out.string() + "'";
  os::DetachedProcess started = os::startDetached("/bin/sh", {"-c", script});
  sched_setaffinity(0, sizeof before, &before);
  ASSERT_TRUE(started.started);
  EXPECT_EQ(started.execError, 0);

  for (int i = 0; i < 500 && !std::filesystem::exists(out); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  int count = 0;
  std::ifstream(out) >> count;
  std::filesystem::remove(out);
  EXPECT_GE(count, CPU_COUNT(&before)); // more where this process was held to fewer
}

} // namespace
