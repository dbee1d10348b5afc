// The verdict header field a delivery filter adds to the message it passes through.
#pragma once

#include <functional>
#include <string_view>

namespace mailhost {

// The header field a delivery filter adds to a message it passes through.
inline constexpr std::string_view kVerdictFieldName = "X-Quellbark-Status";

// Whether the bytes start, after a leading mbox "From " line, with a header field: the least a
// message must be. Empty input is no message.
bool startsWithHeaderField(std::string_view message);

// Writes the message to `write`, in pieces, with "X-Quellbark-Status: <verdict>" as its first
// header field (after a leading mbox "From " line). Every field of that name already in the
// header block is left out with its folded continuation lines, so a sender cannot forge one;
// every other byte is written as it is. The new line ends as the message's first header line
// does (CRLF or LF). The header block ends at the first empty line, or at the first line that
// is neither a field nor a continuation (a message without a body separator), or at the end.
void writeWithVerdictField(std::string_view message, std::string_view verdict,
                           const std::function<void(std::string_view)>& write);

} // namespace mailhost
