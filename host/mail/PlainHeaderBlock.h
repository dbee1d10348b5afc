// The top-level header block of a plain message, read without building GMime's header objects.
#pragma once

#include "FilterForm.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mailhost {

// A header block every field of which is ASCII text without encoded words, so that each value
// is its own unfolded, trimmed text: most mail. Building a GMime header object for every field
// costs more than the rest of the message's conversion; the fields that shape the form
// (Content-Type, Content-Transfer-Encoding, Content-Disposition) are kept as written, for GMime
// to parse the MIME structure from.
struct PlainHeaderBlock {
  std::vector<HeaderField> fields;
  std::string contentFields; // those fields' lines, as written, in message order
  std::size_t blankLine = 0; // where the empty line that ends the block starts
};

// The block at the start of `message`, or nothing when any of it is not plain: 8-bit or
// control bytes, "=?", a line that is not a field or its continuation, a bare CR, or no empty
// line to end it. Those are GMime's to read.
std::optional<PlainHeaderBlock> readPlainHeaderBlock(std::string_view message);

} // namespace mailhost
