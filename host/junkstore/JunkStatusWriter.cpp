#include "JunkStatusWriter.h"

#include <ctime>
#include <iterator>
#include <utility>

namespace mailhost {

JunkStatusWriter::JunkStatusWriter(JunkStore& store, std::chrono::milliseconds interval)
    : mStore(store), mInterval(interval) {
  mThread = std::thread([this] { work(); });
}

JunkStatusWriter::~JunkStatusWriter() {
  {
    std::lock_guard<std::mutex> lock(mLock);
    mStopping = true;
  }
  mWake.notify_all();
  mThread.join(); // the thread writes what is queued before it ends
}

void JunkStatusWriter::record(const std::string& uri, int score, JunkOrigin origin) {
  JunkStatus status{uri, score, origin, static_cast<std::int64_t>(std::time(nullptr))};
  bool wake;
  {
    std::unique_lock<std::mutex> lock(mLock);
    if (mQueued - mWritten >= kMaxUncommitted) {
      mWake.notify_one();
      mCommitted.wait(lock, [&] { return mQueued - mWritten < kMaxUncommitted; });
    }
    mPending.push_back(std::move(status));
    ++mQueued;
    // The first status starts the thread's interval; only a full queue cuts that short.
    wake = mPending.size() == 1 || mPending.size() == kMaxPending;
  }
  if (wake)
    mWake.notify_one();
}

std::vector<JunkStatusWriter::Failure> JunkStatusWriter::flush() {
  std::unique_lock<std::mutex> lock(mLock);
  std::size_t target = mQueued;
  ++mFlushing;
  mWake.notify_one();
  mCommitted.wait(lock, [&] { return mWritten >= target; });
  --mFlushing;
  return std::exchange(mFailures, {});
}

void JunkStatusWriter::work() {
  std::unique_lock<std::mutex> lock(mLock);
  for (;;) {
    // Nothing to write: sleep until there is, so that an idle host (a watch waiting for mail)
    // does not wake every interval.
    mWake.wait(lock, [&] { return mStopping || !mPending.empty(); });
    if (mPending.empty())
      break; // stopping
    // Let statuses gather, so that one transaction takes them all.
    mWake.wait_for(lock, mInterval,
                   [&] { return mStopping || mPending.size() >= kMaxPending || mFlushing > 0; });
    std::vector<JunkStatus> batch = std::exchange(mPending, {});
    lock.unlock();
    std::vector<Failure> failed;
    try {
      mStore.record(batch);
    } catch (const std::exception& error) { // the store's own errors, or no memory
      for (const JunkStatus& status : batch)
        failed.push_back({status.uri, error.what()});
    }
    lock.lock();
    mFailures.insert(mFailures.end(), std::make_move_iterator(failed.begin()),
                     std::make_move_iterator(failed.end()));
    mWritten += batch.size();
    mCommitted.notify_all();
  }
}

} // namespace mailhost
