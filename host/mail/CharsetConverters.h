// Keeping the C library's character set converters loaded for the rest of a run.
#pragma once

#include <cstddef>
#include <string_view>

namespace mailhost {

// The C library loads a character set's converter from a module of its own when a conversion
// from it is opened, and unloads it soon after the last one is closed: a few closes of other
// converters later. GMime opens and closes a converter for every encoded word and every part it
// converts, so mail in a mix of character sets loads and unloads the same modules over and over
// (about 50 µs each time; 435 times for 10,000 messages of the public spam corpus). Keeping a
// conversion from a character set open keeps its module loaded.
//
// Kept are the one-byte character sets (ISO 8859, Windows code pages, KOI8: two thirds of those
// loads), the first kMaxKept met: each kept module stays resident, about 20 KiB, and its open
// conversion takes a few hundred bytes. The East Asian ones are left to load and unload as
// before: their tables are large, and a kept one would hold more of them resident the more text
// it met. Safe from any thread.
class CharsetConverters {
public:
  static constexpr std::size_t kMaxKept = 8;

  // The converter from `charset` to UTF-8, as GMime would name it, stays loaded if it is one of
  // those kept. Nothing happens for any other, or a name the C library does not know.
  // GMime must have been initialised (converting a message does it).
  static void keep(std::string_view charset);
  // The same for the charset of each encoded word ("=?charset?B?...?=") in a header value.
  static void keepForEncodedWords(std::string_view value);
  // How many character sets are kept now.
  static std::size_t kept();
};

} // namespace mailhost
