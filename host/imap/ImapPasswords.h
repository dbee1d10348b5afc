// Where IMAP passwords are kept: a private file or the desktop keyring.
#pragma once

#include "ImapAccounts.h"

#include <string>

namespace mailhost {

// Where the passwords of IMAP accounts are kept: never in prefs.js nor any log. An account whose
// server has a passwordFile preference keeps its password in that file, which must belong to
// the user and be of mode 0600 (or stricter): a looser file is refused, not read. Otherwise the
// password is in the desktop keyring (libsecret, through the IMAP module), looked up by user,
// host and port.

// Whether a session bus is there for a keyring to answer on.
bool keyringAvailable();

// Throws ImapError(Account) with the reason when there is no password to be had.
std::string readImapPassword(const ImapAccount& account);

// Into the keyring; false (with why) when it did not take it or cannot be reached.
bool storePasswordInKeyring(const ImapEndpoint& endpoint, const std::string& password,
                            std::string& why);
// Into a new file of mode 0600 (replacing one there). Throws ImapError(Account).
void storePasswordInFile(const std::string& path, const std::string& password);

} // namespace mailhost
