// Starting a program detached from the caller: its own session, stdin from /dev/null, stdout
// and stderr inherited, no other descriptor passed on, and no zombie left behind (the
// intermediate child is reaped at once; the program itself is adopted by init).
#pragma once

#include <MacTypes.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace coreservices {

struct LaunchOutcome {
  OSStatus status = noErr; // noErr once exec has succeeded
  pid_t pid = 0;
};

LaunchOutcome launchDetached(const std::string& executable,
                             const std::vector<std::string>& arguments);

} // namespace coreservices
