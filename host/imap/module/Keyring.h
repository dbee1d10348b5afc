// IMAP passwords in the desktop keyring (libsecret), by user, host and port.
#pragma once

#include "ImapConnection.h"

#include <optional>
#include <string>

namespace mailhost {

std::optional<std::string> keyringLookup(const ImapEndpoint& endpoint, std::string& why);
bool keyringStore(const ImapEndpoint& endpoint, const std::string& password, std::string& why);

} // namespace mailhost
