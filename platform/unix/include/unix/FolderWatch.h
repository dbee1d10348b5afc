// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// Being told when a folder's entries change (inotify): a name made, renamed in or out, or
// removed. The descriptor becomes readable at the first change after the watch began.
#pragma once

#include <string>

namespace os {

class FolderWatch {
public:
  enum class Scope {
    entries,         // names made, renamed in or out, or removed
    entriesAndItself // also a file in it written, a mode or owner changed, the folder itself
                     // removed or moved away
  };

  explicit FolderWatch(const std::string& folder, Scope scope = Scope::entries);
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // For poll(); -1 when the folder cannot be watched.
  int descriptor() const { return mFd; }
  // Reads what has been reported, so that the descriptor waits for the next change. False when
  // the watch has ended (the folder removed or moved away) or changes were lost: nothing it says
  // from then on can be trusted.
  bool drain();

private:
  int mFd = -1;
};

} // namespace os
