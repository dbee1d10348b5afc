// The top-level header block of a plain message, read without building GMime's header objects.
#pragma once

#include "FilterForm.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mailhost {

// A header block of plain "name: value" lines (and their continuations). Building a GMime header
// object for every field costs more than the rest of the message's conversion, and most values
// are ASCII without encoded words, so that each is its own unfolded, trimmed text. The others
// (8-bit text, encoded words) are kept raw for GMime's decoder. The fields that shape the form
// (Content-Type, Content-Transfer-Encoding, Content-Disposition) are also kept as written, less
// any runs of empty parameters, for GMime to parse the MIME structure from.
struct PlainHeaderBlock {
  std::vector<HeaderField> fields;
  std::vector<std::size_t> toDecode; // fields whose value is raw: as written after the colon
  std::string contentFields;         // those fields' lines, in message order
  std::size_t blankLine = 0;         // where the empty line that ends the block starts
  std::size_t body = 0;              // where the body starts, past that line
};

// The block at the start of `message`, or nothing when it holds a control byte (a NUL, a bare
// CR), a line that is not a field or its continuation, or no empty line to end it: those are
// GMime's to read.
std::optional<PlainHeaderBlock> readPlainHeaderBlock(std::string_view message);

// The charset of a message whose block makes it one text part shown as written: text/plain or
// text/html (or no Content-Type), no transfer encoding or 7bit, 8bit or binary, no
// Content-Disposition. Empty when none is declared. Nothing when the fields say anything else,
// or say it in a way left to GMime's parser (a comment, an RFC 2231 parameter, a field twice).
std::optional<std::string> plainTextCharset(const PlainHeaderBlock& block);

} // namespace mailhost
