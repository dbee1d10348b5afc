// The host's connections to its IMAP accounts, one per account, opened when first needed.
#pragma once

#include "ImapAccounts.h"
#include "ImapConnection.h"
#include "ImapUri.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace mailhost {

// The host's connections to its IMAP accounts, one per account, opened when first needed with
// the account's settings from the preferences service and its password from where it is kept,
// and kept for the rest of the run. A connection that dropped is opened again once.
class ImapSessions {
public:
  ImapSessions();
  ~ImapSessions();
  ImapSessions(const ImapSessions&) = delete;
  ImapSessions& operator=(const ImapSessions&) = delete;

  // The account (throws ImapError(Account) when the profile has none for user@host).
  ImapAccount account(const std::string& user, const std::string& host,
                      std::optional<std::uint16_t> port = std::nullopt);
  // The open connection to the account, with `folder` selected when one is named.
  ImapConnection& connection(const ImapAccount& account, const std::string& folder = {});

  // The UIDs of the folder's messages that carry neither $Junk nor $NotJunk, ascending: those
  // the user or the filter has not judged yet.
  std::vector<std::uint32_t> uidsWithoutVerdict(const ImapFolderRef& folder);

  // The message's bytes (BODY.PEEK: the message stays unread).
  std::string fetch(const ImapMessageRef& message);

  // The user's or the filter's verdict on a message, on the server: $Junk or $NotJunk (the
  // other one taken off), and junk moved to the account's junk folder unless it is there.
  void recordVerdict(const ImapMessageRef& message, bool junk, bool moveJunk);

  // Closes the account's connection (after a failure, say); the next use opens a new one.
  void drop(const ImapAccount& account);

private:
  template <typename Work>
  auto withRetry(const ImapAccount& account, const std::string& folder, Work&& work);

  std::map<std::string, std::unique_ptr<ImapConnection>> mConnections; // by account name
};

inline constexpr const char* kJunkKeyword = "$Junk";
inline constexpr const char* kNotJunkKeyword = "$NotJunk";

} // namespace mailhost
