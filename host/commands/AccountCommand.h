// `mailhost account add imap://user@host[:port]`: records an IMAP account in the profile's
// prefs.js under the host's own preference names, and its password in the desktop keyring (or
// a file of mode 0600). `mailhost account list` shows the accounts.
#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <string>

namespace mailhost {

class HostSession;

struct AccountOptions {
  std::string url;
  std::string security = "tls"; // tls, starttls or plain
  std::string caFile;
  bool insecure = false;
  std::string passwordFile;
  bool passwordFromStdin = false;
  CLI::App* add = nullptr;
  CLI::App* list = nullptr;
};

CLI::App* addAccountCommand(CLI::App& app, AccountOptions& options);

// Exit status: 0 done, 1 the account could not be recorded.
int runAccountCommand(HostSession& session, const AccountOptions& options, std::istream& in,
                      std::ostream& out, std::ostream& err);

} // namespace mailhost
