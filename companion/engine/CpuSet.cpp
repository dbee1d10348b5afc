#include "CpuSet.h"

namespace quellbark {

std::optional<CpuSet> CpuSet::of(pid_t tid) {
  CpuSet cpus;
  if (::sched_getaffinity(tid, sizeof cpus.mSet, &cpus.mSet) != 0) {
    return std::nullopt;
  }
  return cpus;
}

bool CpuSet::applyTo(pid_t tid) const {
  return ::sched_setaffinity(tid, sizeof mSet, &mSet) == 0;
}

std::optional<CpuSet> CpuSet::within(const CpuSet& allowed) const {
  CpuSet both;
  CPU_AND(&both.mSet, &mSet, &allowed.mSet);
  if (CPU_COUNT(&both.mSet) == 0) {
    return std::nullopt;
  }
  return both;
}

} // namespace quellbark
