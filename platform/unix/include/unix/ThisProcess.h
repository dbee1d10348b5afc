// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// This process's pid and effective user, asked of the kernel once and then remembered: they are
// wanted for every exchange. A pid changes only across fork, and a forked child asks afresh;
// nothing in this system changes its user once running.
#pragma once

#include <sys/types.h>

namespace os {

pid_t thisProcessID();
uid_t effectiveUser();

} // namespace os
