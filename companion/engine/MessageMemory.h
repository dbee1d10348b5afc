// An in-memory file that hands one message at a time to bogofilter.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quellbark {

// One message at a time handed to bogofilter without touching a disk: an anonymous memory file
// of this process, rewritten for each message and passed by its /proc name, which only
// processes of this user can open.
class MessageMemory {
public:
  MessageMemory(); // valid() is false when no memory file can be made
  ~MessageMemory();
  MessageMemory(const MessageMemory&) = delete;
  MessageMemory& operator=(const MessageMemory&) = delete;

  bool valid() const { return mFd >= 0; }
  // The name under which another process of this user opens the current content.
  const std::string& name() const { return mName; }

  // Replaces the content with `bytes`; false when it cannot.
  bool hold(std::string_view bytes);

private:
  int mFd = -1;
  std::string mName;
  std::size_t mSize = 0; // of the content held
};

} // namespace quellbark
