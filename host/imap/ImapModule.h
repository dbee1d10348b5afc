// The IMAP client code (libetpan, GnuTLS, libsecret) lives in a module of its own, loaded the
// first time a connection or the keyring is needed: commands on local folders never pay for
// loading those libraries.
#pragma once

#include "ImapConnection.h"

#include <memory>
#include <optional>
#include <string>

namespace mailhost {

// What the module offers the host. Built with the host from the same sources; the version
// guards against a module left over from another build.
struct ImapModuleFunctions {
  unsigned version;
  std::unique_ptr<ImapConnection> (*connect)(const ImapEndpoint& endpoint,
                                             const std::string& password);
  // The keyring's password for the endpoint's user, host and port; nullopt with why when the
  // keyring has none or cannot be asked.
  std::optional<std::string> (*keyringLookup)(const ImapEndpoint& endpoint, std::string& why);
  // False with why when the keyring did not take the password.
  bool (*keyringStore)(const ImapEndpoint& endpoint, const std::string& password, std::string& why);
};

inline constexpr unsigned kImapModuleVersion = 2;
inline constexpr const char* kImapModuleFile = "mailhost-imap.so";
// The module's one exported function, which returns its ImapModuleFunctions.
inline constexpr const char* kImapModuleEntry = "mailhost_imap_module";
using ImapModuleEntry = const ImapModuleFunctions*();

// The module, loaded from the host's library folder (<exe dir>/../lib) on first use. Throws
// ImapError(Unavailable) naming the file and the loader's reason when it cannot be loaded.
const ImapModuleFunctions& imapModule();

} // namespace mailhost
