// A strict base64 decoder.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mailhost {

// Standard base64 with padding; nullopt for any other character, a wrong length or padding in
// the wrong place (GLib's decoder skips what it does not know, which would hide damage).
std::optional<std::string> decodeBase64(std::string_view text);

} // namespace mailhost
