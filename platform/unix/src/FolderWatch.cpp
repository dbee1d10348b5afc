// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/FolderWatch.h"

#include "unix/Syscalls.h"

#include <sys/inotify.h>

namespace os {

FolderWatch::FolderWatch(const std::string& folder) {
  if (folder.empty())
    return;
  mFd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (mFd < 0)
    return;
  if (inotify_add_watch(mFd, folder.c_str(),
                        IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ONLYDIR) < 0) {
    calls().close(mFd);
    mFd = -1;
  }
}

FolderWatch::~FolderWatch() {
  if (mFd >= 0)
    calls().close(mFd);
}

void FolderWatch::drain() {
  if (mFd < 0)
    return;
  alignas(inotify_event) char events[4096];
  while (calls().read(mFd, events, sizeof events) > 0) {
  }
}

} // namespace os
