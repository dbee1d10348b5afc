// The digest that recognises a message learned before.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quellbark {

// The SHA-256 digest of a message's bytes (32 raw bytes): how a message learned once is
// recognised when it comes again. A message in parts digests as the parts one after the other.
std::string messageDigest(std::span<const std::string_view> parts);

} // namespace quellbark
