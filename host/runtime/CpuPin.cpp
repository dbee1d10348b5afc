#include "CpuPin.h"

#include <algorithm>
#include <unistd.h>

namespace mailhost {

CpuPin::CpuPin() : CpuPin(::sched_getcpu()) {}

CpuPin::CpuPin(int cpu) {
  if (cpu < 0 || cpu >= CPU_SETSIZE || ::sched_getaffinity(0, sizeof mBefore, &mBefore) != 0 ||
      CPU_COUNT(&mBefore) < 2 || !CPU_ISSET(cpu, &mBefore))
    return;
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(cpu, &one);
  mPinned = ::sched_setaffinity(0, sizeof one, &one) == 0;
}

CpuPin::~CpuPin() {
  if (mPinned)
    ::sched_setaffinity(0, sizeof mBefore, &mBefore);
}

std::vector<int> cpusOfThisProcess() {
  cpu_set_t set;
  CPU_ZERO(&set);
  std::vector<int> cpus;
  if (::sched_getaffinity(0, sizeof set, &set) == 0)
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
      if (CPU_ISSET(cpu, &set))
        cpus.push_back(cpu);
  if (cpus.empty())
    for (long cpu = 0; cpu < std::max(1L, ::sysconf(_SC_NPROCESSORS_ONLN)); ++cpu)
      cpus.push_back(static_cast<int>(cpu));
  return cpus;
}

} // namespace mailhost
