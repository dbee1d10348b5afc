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
// Only the first kMaxKept character sets met are kept: each kept module stays resident (20 KiB
// for most, over 100 KiB for some East Asian ones), and a few cover most of a mailbox's
// conversions. Safe from any thread.
class CharsetConverters {
public:
  static constexpr std::size_t kMaxKept = 8;

  // The converter from `charset` to UTF-8, as GMime would name it, stays loaded. Nothing
  // happens for UTF-8 and ASCII (built into the C library) or a name it does not know.
  // GMime must have been initialised (converting a message does it).
  static void keep(std::string_view charset);
  // The same for the charset of each encoded word ("=?charset?B?...?=") in a header value.
  static void keepForEncodedWords(std::string_view value);
  // How many character sets are kept now.
  static std::size_t kept();
};

} // namespace mailhost
