// The CPUs a thread may use, and keeping it on one of them for a stretch of work.
#pragma once

#include <sched.h>
#include <vector>

namespace mailhost {

// Holds the calling thread on the CPU it runs on now, until destroyed, when the thread may run
// where it could before. A batch's exchanges are a chain that takes turns (this thread sends and
// waits, Quellbark answers, its bogofilter scores), and Quellbark runs its side on the CPUs of
// the thread that sends: on one CPU each hand-over is a switch there rather than a wake-up of
// another CPU, whose caches are cold. Released between batches, so that the scheduler can move
// the next one to a less busy CPU. Threads started meanwhile inherit the one CPU: start them
// first.
class CpuPin {
public:
  CpuPin();
  // Holds it on `cpu` instead, if the thread may run there.
  explicit CpuPin(int cpu);
  ~CpuPin();
  CpuPin(const CpuPin&) = delete;
  CpuPin& operator=(const CpuPin&) = delete;

private:
  cpu_set_t mBefore{};
  bool mPinned = false;
};

// The CPUs the calling thread may run on (its affinity, as `nproc` counts them), in order; all
// online CPUs when the system does not say.
std::vector<int> cpusOfThisProcess();

} // namespace mailhost
