// The host's main-thread event queue.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

namespace mailhost {

// The host's main-thread event queue. Work that must not run inside the call that asked for
// it (a message delivery asked for by StreamMessage, say) is posted here and runs when the
// host's main loop comes round to it, in the order it was posted.
class EventLoop {
public:
  using Task = std::function<void()>;

  // May be called from any thread, also from inside a running task.
  void post(Task task);

  // Runs the oldest task; false when there was none.
  bool runOne();

  // Runs tasks, those posted meanwhile included, until `done` holds (checked before each
  // task) or the queue runs dry. Returns whether `done` holds.
  bool runUntil(const std::function<bool()>& done);

  // Runs tasks until the queue runs dry; returns how many ran.
  std::size_t runUntilIdle();

  std::size_t pending() const;

private:
  mutable std::mutex mLock;
  std::deque<Task> mTasks;
};

} // namespace mailhost
