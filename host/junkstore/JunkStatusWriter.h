// Recording junk statuses from a thread of their own, committed in batches.
#pragma once

#include "JunkStore.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace mailhost {

// Records statuses in a junk store from a thread of its own, so that whoever reports them
// does not wait for the database. The statuses handed in are committed together, one
// transaction per interval (or per kMaxPending statuses, whichever comes first); flush waits
// until every status handed in so far is committed, and the destructor flushes. A process
// that is killed loses only the statuses of the interval not yet committed.
//
// While a writer lives, the store is written through it alone.
class JunkStatusWriter {
public:
  static constexpr std::size_t kMaxPending = 256;
  // Statuses not yet committed at most: record waits beyond that, so memory stays bounded
  // even if the database falls behind.
  static constexpr std::size_t kMaxUncommitted = 16 * kMaxPending;

  struct Failure {
    std::string uri;
    std::string why;
  };

  // A tenth of a second: about one transaction per batch of a classify, whose commit (locks,
  // write-ahead log frames) costs the host more than the rows it takes.
  explicit JunkStatusWriter(JunkStore& store,
                            std::chrono::milliseconds interval = std::chrono::milliseconds(100));
  ~JunkStatusWriter();
  JunkStatusWriter(const JunkStatusWriter&) = delete;
  JunkStatusWriter& operator=(const JunkStatusWriter&) = delete;

  // Queues a status, stamped with the time now (waits while kMaxUncommitted are queued).
  void record(const std::string& uri, int score, JunkOrigin origin);

  // Waits until everything queued so far is committed; returns the statuses that could not be
  // stored since the last flush.
  std::vector<Failure> flush();

private:
  void work();

  JunkStore& mStore;
  const std::chrono::milliseconds mInterval;
  std::mutex mLock;
  std::condition_variable mWake;      // statuses queued, a flush asked for, or the end
  std::condition_variable mCommitted; // a transaction has ended
  std::vector<JunkStatus> mPending;
  std::vector<Failure> mFailures;
  std::size_t mQueued = 0;  // statuses handed in
  std::size_t mWritten = 0; // statuses whose transaction has ended
  std::size_t mFlushing = 0;
  bool mStopping = false;
  std::thread mThread;
};

} // namespace mailhost
