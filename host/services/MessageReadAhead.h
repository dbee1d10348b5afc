// Converting a batch's messages ahead of their deliveries on a thread of its own.
#pragma once

#include "FilterForm.h"
#include "MailStore.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace mailhost {

// Converts the messages a batch will stream, in the order given, on a thread of its own and a
// bounded distance ahead, so that a delivery usually finds its message's filter form ready
// instead of reading and parsing the file on the main thread.
//
// A form is handed out only while the file it was read from is unchanged (same inode, size and
// times); a message that was not read ahead, could not be, or changed since is left to the
// delivery to read on demand, which then fails or succeeds exactly as without read-ahead.
class MessageReadAhead {
public:
  struct Limits {
    std::size_t messages = 32;      // forms held ready at most
    std::size_t bytes = 128 * 1024; // and their size; a larger message is left on demand
  };

  // `store` is copied: its lookups keep caches that the thread must not share.
  MessageReadAhead(const MailStore& store, std::vector<std::string> uris, Limits limits);
  MessageReadAhead(const MailStore& store, std::vector<std::string> uris)
      : MessageReadAhead(store, std::move(uris), Limits()) {}
  ~MessageReadAhead(); // stops and joins the thread
  MessageReadAhead(const MessageReadAhead&) = delete;
  MessageReadAhead& operator=(const MessageReadAhead&) = delete;

  // The form of a message still to come in the order given, waiting for it if the thread is
  // at it. Forms of messages before it are dropped (they were skipped). Nothing for a URI not
  // to come, after stop(), or when the form cannot be used (see above).
  std::optional<FilterForm> take(const std::string& uri);

  void stop();

  // How many forms are ready and not yet taken.
  std::size_t ready();

  // The file identity a form stays valid for.
  struct FileStamp {
    unsigned long long device = 0, inode = 0, size = 0;
    long long modified = 0, changed = 0; // nanoseconds
    bool operator==(const FileStamp&) const = default;
  };

private:
  struct Prepared {
    std::size_t index;
    std::optional<FilterForm> form; // none: left on demand
    std::string file;
    FileStamp stamp;
    std::size_t bytes = 0;
  };

  void work();
  bool lowWater() const; // these two with the lock held
  void makeRoom();
  Prepared prepare(std::size_t index, const std::string& uri);

  MailStore mStore; // the thread's own
  const std::vector<std::string> mUris;
  const Limits mLimits;

  std::mutex mLock;
  std::condition_variable mRoom;    // the thread waits here while the queue is full
  std::condition_variable mArrived; // take waits here for the thread
  bool mWaitingForRoom = false;
  std::deque<Prepared> mReady; // in index order
  std::size_t mReadyBytes = 0;
  std::size_t mNextToPrepare = 0;
  std::size_t mWanted = 0; // the lowest index still to be taken
  bool mStopping = false;
  bool mFinished = false;
  std::thread mThread;
};

} // namespace mailhost
