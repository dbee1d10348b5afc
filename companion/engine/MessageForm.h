// How a client hands over message bytes, and turning them into messages bogofilter reads correctly.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quellbark {

// How a client hands over message bytes (the 'bDec', 'bRFC' and 'sSEP' parameters).
struct MessageForm {
  bool decoded = true;   // transfer encodings already undone by the client
  bool rfc822 = true;    // header lines, an empty line, then the body; else plain text
  std::string separator; // splits several messages in one piece of bytes; empty: one message
};

// The messages held in `bytes`, each in the shape bogofilter reads correctly:
// - several messages: split at every occurrence of the separator; blank pieces are skipped
//   and line ends left over at the start of a piece are dropped;
// - plain text: an empty first line, so that no text is mistaken for a header;
// - decoded: "Content-Transfer-Encoding" lines are dropped, so that decoded text is not
//   decoded again, and a multipart Content-Type whose boundary no longer occurs in the body
//   becomes text/plain.
// Always at least one message. A message is the runs of bytes it is made of, in order: views
// into `bytes` or into constant text, so that a large message is never copied to be prepared.
using MessageParts = std::vector<std::string_view>;
std::vector<MessageParts> prepareMessages(std::string_view bytes, const MessageForm& form);

} // namespace quellbark
