// The CPUs a thread or process may run on.
#pragma once

#include <optional>
#include <sched.h>
#include <sys/types.h>

namespace quellbark {

class CpuSet {
public:
  // The set of thread `tid` (a process's id names its first thread); 0 is the calling thread.
  static std::optional<CpuSet> of(pid_t tid);

  // Makes thread `tid` (0: the calling one) run on this set; false when it cannot be.
  bool applyTo(pid_t tid) const;

  // The CPUs in both; nothing when they share none.
  std::optional<CpuSet> within(const CpuSet& allowed) const;

  bool operator==(const CpuSet& other) const { return CPU_EQUAL(&mSet, &other.mSet) != 0; }

private:
  cpu_set_t mSet{};
};

} // namespace quellbark
