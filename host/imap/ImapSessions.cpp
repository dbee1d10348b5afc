#include "ImapSessions.h"

#include "ImapPasswords.h"

#include <nsCOMPtr.h>
#include <nsIPrefBranch.h>
#include <nsServiceManagerUtils.h>

namespace mailhost {

namespace {

nsCOMPtr<nsIPrefBranch> preferences() {
  nsresult rv = NS_OK;
  nsCOMPtr<nsIPrefBranch> prefs = do_GetService("@mozilla.org/preferences-service;1", &rv);
  if (!prefs)
    throw ImapError(ImapErrorKind::Account,
                    "no preferences service to read the IMAP accounts from");
  return prefs;
}

} // namespace

ImapSessions::ImapSessions() = default;
ImapSessions::~ImapSessions() = default;

ImapAccount ImapSessions::account(const std::string& user, const std::string& host,
                                  std::optional<std::uint16_t> port) {
  return findImapAccount(preferences(), user, host, port);
}

ImapConnection& ImapSessions::connection(const ImapAccount& account, const std::string& folder) {
  std::unique_ptr<ImapConnection>& slot = mConnections[account.name()];
  if (!slot)
    slot = openImapConnection(account.endpoint, readImapPassword(account));
  if (!folder.empty() && slot->selected() != folder)
    slot->select(folder);
  return *slot;
}

void ImapSessions::drop(const ImapAccount& account) {
  mConnections.erase(account.name());
}

template <typename Work>
auto ImapSessions::withRetry(const ImapAccount& account, const std::string& folder, Work&& work) {
  try {
    return work(connection(account, folder));
  } catch (const ImapError& error) {
    if (!error.transient())
      throw;
    drop(account);
  }
  return work(connection(account, folder));
}

std::vector<std::uint32_t> ImapSessions::uidsWithoutVerdict(const ImapFolderRef& folder) {
  ImapAccount found = account(folder.user, folder.host, folder.port);
  return withRetry(found, folder.folder, [&](ImapConnection& imap) {
    return imap.uidsWithout(kJunkKeyword, kNotJunkKeyword);
  });
}

std::string ImapSessions::fetch(const ImapMessageRef& message) {
  ImapAccount found = account(message.user, message.host);
  return withRetry(found, message.folder,
                   [&](ImapConnection& imap) { return imap.fetch(message.uid); });
}

void ImapSessions::recordVerdict(const ImapMessageRef& message, bool junk, bool moveJunk) {
  ImapAccount found = account(message.user, message.host);
  withRetry(found, message.folder, [&](ImapConnection& imap) {
    imap.setKeyword(message.uid, junk ? kJunkKeyword : kNotJunkKeyword, true);
    imap.setKeyword(message.uid, junk ? kNotJunkKeyword : kJunkKeyword, false);
    if (!junk || !moveJunk)
      return;
    std::string junkFolder = imap.junkFolder();
    if (junkFolder != message.folder) {
      imap.move(message.uid, junkFolder);
    }
  });
}

} // namespace mailhost
