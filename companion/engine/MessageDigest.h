// The digest that recognises a message learned before.
#pragma once

#include <string>
#include <string_view>

namespace quellbark {

// The SHA-256 digest of a message's bytes (32 raw bytes): how a message learned once is
// recognised when it comes again.
std::string messageDigest(std::string_view bytes);

} // namespace quellbark
