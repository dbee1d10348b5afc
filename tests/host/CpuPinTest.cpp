// A batch's pin holds the thread on the CPU it was on, or on the one it is given (a worker's),
// and gives back exactly what it had.
#include "runtime/CpuPin.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <vector>

namespace mailhost {
namespace {

cpu_set_t current() {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  EXPECT_EQ(sched_getaffinity(0, sizeof cpus, &cpus), 0);
  return cpus;
}

TEST(CpuPin, HoldsTheThreadWhereItIsAndGivesBackItsOwnSet) {
  const cpu_set_t all = current();
  if (CPU_COUNT(&all) < 2)
    GTEST_SKIP() << "one CPU: nothing to pin";
  // Given two of the CPUs only (on a larger machine, fewer than all): those come back.
  cpu_set_t two;
  CPU_ZERO(&two);
  for (int cpu = 0, taken = 0; cpu < CPU_SETSIZE && taken < 2; ++cpu)
    if (CPU_ISSET(cpu, &all)) {
      CPU_SET(cpu, &two);
      ++taken;
    }
  ASSERT_EQ(sched_setaffinity(0, sizeof two, &two), 0);
  {
    CpuPin pin;
    const cpu_set_t held = current();
    EXPECT_EQ(CPU_COUNT(&held), 1);
    EXPECT_TRUE(CPU_ISSET(sched_getcpu(), &held));
    {
      CpuPin nested; // already on one CPU: nothing to change, nothing to give back
      const cpu_set_t same = current();
      EXPECT_TRUE(CPU_EQUAL(&same, &held));
    }
    const cpu_set_t after = current();
    EXPECT_TRUE(CPU_EQUAL(&after, &held));
  }
  const cpu_set_t back = current();
  EXPECT_TRUE(CPU_EQUAL(&back, &two));
  sched_setaffinity(0, sizeof all, &all);
}

TEST(CpuPin, HoldsTheThreadOnTheCpuItIsGivenIfItMayRunThere) {
  const cpu_set_t all = current();
  if (CPU_COUNT(&all) < 2)
    GTEST_SKIP() << "one CPU: nothing to pin";
  int last = -1, missing = -1;
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
    (CPU_ISSET(cpu, &all) ? last : missing) = cpu;
  {
    CpuPin pin(last);
    const cpu_set_t held = current();
    EXPECT_EQ(CPU_COUNT(&held), 1);
    EXPECT_TRUE(CPU_ISSET(last, &held));
  }
  cpu_set_t back = current();
  EXPECT_TRUE(CPU_EQUAL(&back, &all));
  for (int refused : {missing, -1, CPU_SETSIZE}) { // not this thread's, or no CPU at all
    CpuPin pin(refused);
    const cpu_set_t same = current();
    EXPECT_TRUE(CPU_EQUAL(&same, &all)) << refused;
  }
}

// What `classify -j auto` counts: the CPUs this process may use (as under taskset or a
// container's CPU set), not every CPU the machine has online.
TEST(CpuPin, TheCpusOfThisProcessAreItsAffinity) {
  const cpu_set_t all = current();
  std::vector<int> cpus = cpusOfThisProcess();
  EXPECT_EQ(static_cast<int>(cpus.size()), CPU_COUNT(&all));
  ASSERT_FALSE(cpus.empty());
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(cpus.back(), &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  EXPECT_EQ(cpusOfThisProcess(), std::vector<int>{cpus.back()});
  sched_setaffinity(0, sizeof all, &all);
}

} // namespace
} // namespace mailhost
