// What the kernel says about a process: whether it lives and when it started. A registry entry
// names its process by pid and start time together, so a reused pid is told apart.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace coreservices {

// Start time in clock ticks since boot (field 22 of /proc/<pid>/stat); nothing when the process
// is gone or a zombie.
std::optional<std::uint64_t> processStartTime(pid_t pid);

// The same start time in 1/60 s ticks, the unit of the Process Manager's launch date.
std::uint32_t startTimeInSixtieths(std::uint64_t startTime);

// True when pid runs and started at startTime.
bool processIsAlive(pid_t pid, std::uint64_t startTime);

// The executable's file name, from /proc/<pid>/comm.
std::string processCommandName(pid_t pid);

} // namespace coreservices
