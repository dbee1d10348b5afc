// The file that hands one message at a time to a classifying bogofilter.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace quellbark {

// One 0600 file in the private work folder, rewritten for each message. bogofilter opens and
// stats a plain path in a memory-backed folder for about half of what a /proc descriptor name
// costs it, and a name in its working folder for less again. The file goes when the object
// does.
class MessageFile {
public:
  // valid() is false when the file cannot be made.
  MessageFile(const std::filesystem::path& folder, std::string_view name);
  ~MessageFile();
  MessageFile(const MessageFile&) = delete;
  MessageFile& operator=(const MessageFile&) = delete;

  bool valid() const { return mFd >= 0; }
  const std::string& name() const { return mName; } // within the folder

  // Replaces the content with `parts`, one after the other; false when it cannot.
  bool hold(std::span<const std::string_view> parts);

private:
  int mFd = -1;
  std::string mPath;
  std::string mName;
  std::size_t mSize = 0; // of the content held
};

} // namespace quellbark
