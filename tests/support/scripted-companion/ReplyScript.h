// What the scripted companion answers: one reply per received event, in order of arrival.
//
// A script is text, one reply per line; the last line answers every later event, and an empty
// script answers every event with the default reply. '#' starts a comment. A line is a list of
// words separated by blanks:
//   ok                   the default reply, nothing added
// Blank lines and comment lines are skipped.
//   score=TYPE:VALUE     the direct object '----': TYPE is shor, long or TEXT
//   errn=VALUE           'errn' as 'shor'; errn=TYPE:VALUE for another type
//   null                 answer with a null descriptor instead of a reply event
//   delay=MS             wait MS milliseconds before answering
#pragma once

#include <CoreServices/CoreServices.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace scripted {

// A value of a parameter, held as the bytes of a descriptor of its type (in host order).
struct ScriptedValue {
  DescType type = typeNull;
  std::vector<unsigned char> bytes;
};

struct ScriptedReply {
  std::optional<ScriptedValue> directObject;
  std::optional<ScriptedValue> errorNumber;
  bool nullReply = false;
  int delayMilliseconds = 0;
};

class ReplyScript {
public:
  // The reply to the event with the given 0-based index of arrival.
  const ScriptedReply& replyFor(std::size_t eventIndex) const;

  std::vector<ScriptedReply> replies;
};

// Returns the script, or nothing with a message naming the faulty line in `problem`.
std::optional<ReplyScript> parseReplyScript(std::string_view text, std::string& problem);

} // namespace scripted
