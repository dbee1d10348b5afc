#include "CpuPin.h"

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

} // namespace mailhost
