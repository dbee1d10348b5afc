// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/FolderWatch.h"

#include "unix/Syscalls.h"

#include <cerrno>
#include <cstdint>
#include <sys/inotify.h>

namespace os {

FolderWatch::FolderWatch(const std::string& folder, Scope scope) {
  if (folder.empty())
    return;
  mFd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (mFd < 0)
    return;
  std::uint32_t changes = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ONLYDIR;
  if (scope == Scope::entriesAndItself)
    changes |=
        IN_ATTRIB | IN_CLOSE_WRITE | IN_MODIFY | IN_DELETE_SELF | IN_MOVE_SELF | IN_DONT_FOLLOW;
  if (inotify_add_watch(mFd, folder.c_str(), changes) < 0) {
    calls().close(mFd);
    mFd = -1;
  }
}

FolderWatch::~FolderWatch() {
  if (mFd >= 0)
    calls().close(mFd);
}

bool FolderWatch::drain() {
  if (mFd < 0)
    return false;
  alignas(inotify_event) char events[4096];
  bool alive = true;
  ssize_t got = 0;
  while ((got = calls().read(mFd, events, sizeof events)) > 0) {
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(events + at);
      alive =
          alive && !(event->mask & (IN_IGNORED | IN_Q_OVERFLOW | IN_DELETE_SELF | IN_MOVE_SELF));
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
  }
  return alive && (got == 0 || errno == EAGAIN || errno == EINTR);
}

} // namespace os
