// The IMAP accounts kept in the profile's preferences.
#pragma once

#include "ImapConnection.h"

#include <optional>
#include <string>
#include <vector>

class nsIPrefBranch;

namespace mailhost {

// An IMAP account as the host keeps it in prefs.js:
//   mail.accountmanager.accounts        "account1,account2"
//   mail.account.accountN.server        "serverN"
//   mail.server.serverN.type            "imap"
//   mail.server.serverN.hostname, .port, .userName, .socketType (0 plain, 2 STARTTLS, 3 TLS)
// and this host's own additions on the server:
//   .caFile                  authorities trusted besides the system's (PEM)
//   .acceptAnyCertificate    true only when the account was added with --insecure
//   .passwordFile            where the password is when it is not in the desktop keyring
// No password is ever written to prefs.js.
struct ImapAccount {
  std::string accountKey; // "account1"
  std::string serverKey;  // "server1"
  ImapEndpoint endpoint;
  std::string passwordFile;

  // user@host, as message URIs name the account
  std::string name() const { return endpoint.user + "@" + endpoint.host; }
};

// The port a socket type uses unless told otherwise.
std::uint16_t defaultImapPort(SocketType type);

// Every IMAP account listed in mail.accountmanager.accounts, in that order.
std::vector<ImapAccount> readImapAccounts(nsIPrefBranch* prefs);

// The account for user@host (and port, when given). Throws ImapError(Account) when there is
// none, naming the command that adds one.
ImapAccount findImapAccount(nsIPrefBranch* prefs, const std::string& user, const std::string& host,
                            std::optional<std::uint16_t> port = std::nullopt);

// Adds an account with the next free account and server numbers (or updates the one for the
// same user, host and port) and returns it. The caller saves prefs.js.
ImapAccount addImapAccount(nsIPrefBranch* prefs, const ImapEndpoint& endpoint,
                           const std::string& passwordFile);

} // namespace mailhost
