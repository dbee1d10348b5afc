// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// What the kernel says about a process (from /proc): whether it lives and when it started. A
// process is named by pid and start time together, so a reused pid is told apart.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace os {

// Start time in clock ticks since boot (field 22 of /proc/<pid>/stat); nothing when the process
// is gone, a zombie, or /proc cannot be read.
std::optional<std::uint64_t> processStartTime(pid_t pid);

// The same start time in 1/60 s ticks.
std::uint32_t startTimeInSixtieths(std::uint64_t startTime);

// True when pid runs and started at startTime.
bool processIsAlive(pid_t pid, std::uint64_t startTime);

// The executable's file name, from /proc/<pid>/comm.
std::string processCommandName(pid_t pid);

// This process's executable (/proc/self/exe); empty when the link cannot be read.
std::string thisExecutable();
// This process's first argument as an absolute path, when it names a regular file by a path
// (not a bare name looked up in PATH); else empty.
std::string thisFirstArgumentAsFile();

// A descriptor that becomes readable when the process ends (pidfd); -1 when it cannot be had.
int openProcess(pid_t pid);

} // namespace os
