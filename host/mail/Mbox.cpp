#include "Mbox.h"

#include "MailError.h"
#include "ReadOnlyFile.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace mailhost {

namespace {

constexpr std::string_view kFromLine = "From ";
constexpr std::size_t kChunk = 64 * 1024;

// A separator found by the scanner: where its "From " line starts, how long the empty line
// before it is (0 at the start of the file), and where the message after it starts.
struct Separator {
  std::uint64_t offset;
  std::uint64_t blankLength;
  std::uint64_t contentStart;
};

// Reads the file from `begin` in chunks and reports each separator; the callback returns
// false to stop. `afterEmptyLine` says whether `begin` starts a line that follows an empty one.
void scanSeparators(const ReadOnlyFile& file, std::uint64_t begin, bool afterEmptyLine,
                    const std::function<bool(const Separator&)>& found) {
  std::string buffer(kChunk, '\0');
  std::uint64_t lineStart = begin;
  std::uint64_t previousBlank = begin == 0 ? 0 : (afterEmptyLine ? 1 : 0);
  bool previousEmpty = begin == 0 || afterEmptyLine;
  int matched = 0; // bytes of "From " matched at the start of this line; -1 once it differs
  bool inSeparator = false;
  Separator pending{};
  char last = '\0';

  for (std::uint64_t offset = begin; offset < file.size();) {
    std::size_t got = file.readAt(offset, buffer.data(), kChunk);
    if (got == 0)
      break;
    for (std::size_t i = 0; i < got; ++i) {
      char c = buffer[i];
      std::uint64_t position = offset + i;
      if (c == '\n') {
        std::uint64_t length = position - lineStart;
        if (inSeparator) {
          pending.contentStart = position + 1;
          inSeparator = false;
          if (!found(pending))
            return;
        }
        previousEmpty = length == 0 || (length == 1 && last == '\r');
        previousBlank = length + 1;
        lineStart = position + 1;
        matched = 0;
      } else if (matched >= 0 && matched < static_cast<int>(kFromLine.size())) {
        if (c == kFromLine[matched]) {
          ++matched;
          if (matched == static_cast<int>(kFromLine.size()) && (previousEmpty || lineStart == 0)) {
            inSeparator = true;
            pending = {lineStart, lineStart == 0 ? 0 : previousBlank, 0};
          }
        } else {
          matched = -1;
        }
      }
      last = c;
    }
    offset += got;
  }
  if (inSeparator) { // a "From " line that the file ends in
    pending.contentStart = file.size();
    found(pending);
  }
}

bool hasNonBlank(const ReadOnlyFile& file, std::uint64_t end) {
  std::string buffer(kChunk, '\0');
  for (std::uint64_t offset = 0; offset < end;) {
    std::size_t got =
        file.readAt(offset, buffer.data(),
                    static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, end - offset)));
    if (got == 0)
      break;
    for (std::size_t i = 0; i < got; ++i)
      if (buffer[i] != '\n' && buffer[i] != '\r' && buffer[i] != ' ' && buffer[i] != '\t')
        return true;
    offset += got;
  }
  return false;
}

std::uint64_t endBefore(const Separator& next) {
  return next.offset - next.blankLength;
}

MailError noSuchMessage(const ReadOnlyFile& file, std::uint64_t key) {
  return MailError(MailErrorKind::NoSuchMessage,
                   file.path().string() + ": no message at key " + std::to_string(key));
}

} // namespace

std::vector<MboxEntry> scanMbox(const ReadOnlyFile& file) {
  std::vector<MboxEntry> entries;
  forEachMboxEntry(file, [&](const MboxEntry& entry) { entries.push_back(entry); });
  return entries;
}

void forEachMboxEntry(const ReadOnlyFile& file, const std::function<void(const MboxEntry&)>& each) {
  // An entry ends where the next separator begins: each is handed over once that is found.
  std::optional<Separator> previous;
  scanSeparators(file, 0, true, [&](const Separator& next) {
    if (!previous) {
      if (next.offset > 0 && hasNonBlank(file, endBefore(next)))
        each({0, 0, endBefore(next)});
    } else {
      each({previous->offset, previous->contentStart,
            std::max(endBefore(next), previous->contentStart)});
    }
    previous = next;
    return true;
  });
  if (previous)
    each({previous->offset, previous->contentStart, std::max(file.size(), previous->contentStart)});
  else if (hasNonBlank(file, file.size()))
    each({0, 0, file.size()});
}

MboxEntry findMboxEntry(const ReadOnlyFile& file, std::uint64_t key) {
  if (key >= file.size())
    throw noSuchMessage(file, key);

  // A separator must follow an empty line: check the bytes just before the key.
  char before[3] = {};
  bool separatorPlace = key == 0;
  if (key > 0) {
    std::uint64_t from = key >= 3 ? key - 3 : 0;
    std::size_t count = static_cast<std::size_t>(key - from);
    char* tail = before + (3 - count);
    file.readAt(from, tail, count);
    bool lf = before[2] == '\n';
    bool emptyLf = lf && (key == 1 || before[1] == '\n');
    bool emptyCrlf = lf && before[1] == '\r' && (key == 2 || before[0] == '\n');
    separatorPlace = emptyLf || emptyCrlf;
  }
  char head[5] = {};
  bool startsWithFrom = file.readAt(key, head, sizeof head) == sizeof head &&
                        std::string_view(head, sizeof head) == kFromLine;

  std::vector<Separator> found;
  if (key == 0 && !startsWithFrom) { // the headless first message runs to the first separator
    scanSeparators(file, 0, true, [&](const Separator& s) {
      found.push_back(s);
      return false;
    });
    std::uint64_t end = found.empty() ? file.size() : endBefore(found.front());
    if (!hasNonBlank(file, end))
      throw noSuchMessage(file, key);
    return {0, 0, end};
  }
  if (!separatorPlace || !startsWithFrom)
    throw noSuchMessage(file, key);

  scanSeparators(file, key, true, [&](const Separator& s) {
    found.push_back(s);
    return found.size() < 2;
  });
  if (found.empty() || found.front().offset != key)
    throw noSuchMessage(file, key);
  std::uint64_t start = found.front().contentStart;
  std::uint64_t end = found.size() > 1 ? endBefore(found[1]) : file.size();
  return {key, start, std::max(start, end)};
}

bool looksLikeMbox(const ReadOnlyFile& file) {
  bool any = false;
  scanSeparators(file, 0, true, [&](const Separator&) {
    any = true;
    return false;
  });
  return any;
}

} // namespace mailhost
