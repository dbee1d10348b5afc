// The messages of an mbox file, found by their "From " lines.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

namespace mailhost {

class ReadOnlyFile;

// One message of an mbox file. The key is the byte offset of its "From " line (the message
// key of local folders); a leading message without a "From " line has the key 0. The message
// bytes are [start, end): after the "From " line, up to the empty line before the next one.
struct MboxEntry {
  std::uint64_t key = 0;
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  bool operator==(const MboxEntry&) const = default;
};

// A "From " line separates messages when it starts the file or follows an empty line (LF or
// CRLF). ">From " lines are left as they are. A truncated last message ends at the end of the
// file; text before the first "From " line that is not blank is a message of its own.
std::vector<MboxEntry> scanMbox(const ReadOnlyFile& file);
// The same, each entry handed over as it is found, so that a large file's list is not held.
void forEachMboxEntry(const ReadOnlyFile& file, const std::function<void(const MboxEntry&)>& each);

// The message whose key is `key`, found without scanning the messages before it. Throws
// MailError(NoSuchMessage) when no message starts there.
MboxEntry findMboxEntry(const ReadOnlyFile& file, std::uint64_t key);

// True when the file's first line is a "From " line, or an empty line followed by one appears.
bool looksLikeMbox(const ReadOnlyFile& file);

} // namespace mailhost
