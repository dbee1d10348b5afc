#include "MessageReadAhead.h"

#include "MailError.h"

#include <algorithm>
#include <sys/stat.h>

namespace mailhost {

namespace {

MessageReadAhead::FileStamp stampOf(const struct stat& st) {
  return MessageReadAhead::FileStamp{
      static_cast<unsigned long long>(st.st_dev), static_cast<unsigned long long>(st.st_ino),
      static_cast<unsigned long long>(st.st_size),
      static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec,
      static_cast<long long>(st.st_ctim.tv_sec) * 1000000000LL + st.st_ctim.tv_nsec};
}

std::optional<MessageReadAhead::FileStamp> stampOf(const std::string& file) {
  struct stat st {};
  if (::stat(file.c_str(), &st) != 0)
    return std::nullopt;
  return stampOf(st);
}

std::size_t sizeOf(const FilterForm& form) {
  std::size_t bytes = form.body.size();
  for (const HeaderField& field : form.headers)
    bytes += field.name.size() + field.value.size();
  return bytes;
}

} // namespace

MessageReadAhead::MessageReadAhead(const MailStore& store, std::vector<std::string> uris,
                                   Limits limits)
    : mStore(store), mUris(std::move(uris)), mLimits(limits) {
  mThread = std::thread([this] { work(); });
}

MessageReadAhead::~MessageReadAhead() {
  stop();
}

void MessageReadAhead::stop() {
  {
    std::lock_guard<std::mutex> lock(mLock);
    mStopping = true;
    mReady.clear();
    mReadyBytes = 0;
  }
  mRoom.notify_all();
  mArrived.notify_all();
  if (mThread.joinable())
    mThread.join();
}

MessageReadAhead::Prepared MessageReadAhead::prepare(std::size_t index, const std::string& uri) {
  Prepared prepared{index, std::nullopt, {}, {}, 0};
  try {
    OpenedMessage opened = mStore.open(mStore.parseUri(uri));
    if (opened.extent.length > mLimits.bytes)
      return prepared;
    // The file as opened: a file written to meanwhile, which may have given a mix of old and
    // new bytes, no longer matches when the form is taken.
    FileStamp stamp = stampOf(opened.file->status());
    FilterForm form = toFilterForm(*opened.file, opened.extent);
    prepared.bytes = sizeOf(form);
    prepared.form = std::move(form);
    prepared.file = opened.extent.file.string();
    prepared.stamp = stamp;
  } catch (const MailError&) {
    // The delivery reads it again and reports why.
  } catch (const std::exception&) {
  }
  return prepared;
}

void MessageReadAhead::work() {
  std::unique_lock<std::mutex> lock(mLock);
  for (;;) {
    if (mReady.size() >= mLimits.messages || mReadyBytes >= mLimits.bytes) {
      // Full: go on once three quarters are taken, so that the threads switch once per batch
      // rather than once per message.
      mWaitingForRoom = true;
      mRoom.wait(lock, [&] { return mStopping || lowWater(); });
      mWaitingForRoom = false;
    }
    mNextToPrepare = std::max(mNextToPrepare, mWanted);
    if (mStopping || mNextToPrepare >= mUris.size())
      break;
    std::size_t index = mNextToPrepare++;
    lock.unlock();
    Prepared prepared = prepare(index, mUris[index]);
    lock.lock();
    if (mStopping)
      break;
    if (index < mWanted) // skipped while it was read
      continue;
    mReadyBytes += prepared.bytes;
    mReady.push_back(std::move(prepared));
    mArrived.notify_all();
  }
  mFinished = true;
  mArrived.notify_all();
}

bool MessageReadAhead::lowWater() const {
  return mReady.size() <= mLimits.messages / 4 && mReadyBytes <= mLimits.bytes / 4;
}

void MessageReadAhead::makeRoom() {
  if (mWaitingForRoom && lowWater())
    mRoom.notify_one();
}

std::size_t MessageReadAhead::ready() {
  std::lock_guard<std::mutex> lock(mLock);
  return mReady.size();
}

std::optional<FilterForm> MessageReadAhead::take(const std::string& uri) {
  std::unique_lock<std::mutex> lock(mLock);
  if (mStopping)
    return std::nullopt;
  // Usually the very next one; a message the plug-in skipped drops the forms before it.
  auto it = std::find(mUris.begin() + static_cast<std::ptrdiff_t>(mWanted), mUris.end(), uri);
  if (it == mUris.end())
    return std::nullopt;
  std::size_t index = static_cast<std::size_t>(it - mUris.begin());
  mWanted = index;
  for (;;) {
    while (!mReady.empty() && mReady.front().index < index) {
      mReadyBytes -= mReady.front().bytes;
      mReady.pop_front();
    }
    makeRoom();
    if (!mReady.empty() || mFinished || mStopping || mNextToPrepare > index + 1)
      break;
    // The thread is at this very message or will be next: wait rather than read it twice.
    mArrived.wait(lock);
  }
  mWanted = index + 1;
  if (mReady.empty() || mReady.front().index != index)
    return std::nullopt;
  Prepared prepared = std::move(mReady.front());
  mReady.pop_front();
  mReadyBytes -= prepared.bytes;
  bool room = mWaitingForRoom && lowWater();
  lock.unlock();
  if (room) // after unlocking, so that the thread does not wake into a held lock
    mRoom.notify_one();
  if (!prepared.form || stampOf(prepared.file) != prepared.stamp)
    return std::nullopt;
  return std::move(prepared.form);
}

} // namespace mailhost
