// Percent-escaping names in URIs and undoing it.
#pragma once

#include <string>
#include <string_view>

namespace mailhost {

// Percent-escapes every byte outside a conservative safe set. With keepSlash the '/' of a
// path stays as it is; every other reserved character ('#', '?', '&', '%', ...) is escaped so
// that an escaped path can never be mistaken for a URI's query or fragment.
std::string percentEscape(std::string_view text, bool keepSlash);

// Undoes percentEscape (and any other %XX escaping). Throws MailError(BadUri) on a malformed
// escape.
std::string percentUnescape(std::string_view text);

} // namespace mailhost
