// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// Starting a program detached from the caller, as the desktop would start it: its own session,
// its standard streams on /dev/null, no other descriptor passed on, default signal handling,
// every CPU the system lets it use, and no zombie left behind (the intermediate child is reaped
// at once; the program itself is adopted by init).
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace os {

struct DetachedProcess {
  bool started = false; // false: no process could be made
  pid_t pid = 0;
  int execError = 0; // the errno of a failed exec; 0 once the program runs
};

DetachedProcess startDetached(const std::string& executable,
                              const std::vector<std::string>& arguments);

} // namespace os
