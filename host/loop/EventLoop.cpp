#include "EventLoop.h"

namespace mailhost {

void EventLoop::post(Task task) {
  std::lock_guard<std::mutex> lock(mLock);
  mTasks.push_back(std::move(task));
}

bool EventLoop::runOne() {
  Task task;
  {
    std::lock_guard<std::mutex> lock(mLock);
    if (mTasks.empty())
      return false;
    task = std::move(mTasks.front());
    mTasks.pop_front();
  }
  task(); // outside the lock: a task may post more tasks
  return true;
}

bool EventLoop::runUntil(const std::function<bool()>& done) {
  while (!done())
    if (!runOne())
      return done();
  return true;
}

std::size_t EventLoop::runUntilIdle() {
  std::size_t ran = 0;
  while (runOne())
    ++ran;
  return ran;
}

std::size_t EventLoop::pending() const {
  std::lock_guard<std::mutex> lock(mLock);
  return mTasks.size();
}

} // namespace mailhost
