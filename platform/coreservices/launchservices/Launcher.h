// Starting an application's executable detached from the caller (see unix/DetachedProcess.h),
// with a failed exec told as Launch Services' result codes.
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
