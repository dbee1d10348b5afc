// The passes of `mailhost watch` over one IMAP account.
#pragma once

#include "ImapAccounts.h"
#include "JunkStore.h"
#include "MailServices.h"
#include "WatchState.h"

#include <nsIJunkMailPlugin.h>

#include <chrono>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace mailhost {

// Keeps one IMAP account's mail filtered: each pass looks at INBOX and the junk folder and
//  - classifies mail that arrived in INBOX since the last pass and carries no verdict keyword
//    (the verdict set on the server as `classify` does: keyword, junk moved);
//  - learns the user's verdicts given in any client: a message moved into the junk folder is
//    junk, one moved from there back to INBOX is good, and $Junk or $NotJunk set on a message is
//    that verdict; each is handed to the plug-in as the user's verdict when it differs from the
//    last verdict known for the message (by Message-ID), so the filter's own moves and keywords
//    teach nothing;
//  - keeps its place per folder (UIDVALIDITY, highest UID seen, MODSEQ) in the watch state, so
//    a restart repeats nothing; mail left without a verdict because the exchange with the spam
//    filter failed is tried again on the next pass. The first look at a folder (or one whose
//    UIDVALIDITY changed) only takes note of what is there.
// Changed flags are found with CONDSTORE where the server offers it, else by listing them all.
class ImapWatch {
public:
  ImapWatch(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store, WatchState& state,
            ImapAccount account, std::ostream& out, std::ostream& err);

  const ImapAccount& account() const { return mAccount; }

  // One look at the account. Throws ImapError (a dropped connection is transient).
  void pass();
  // Waits on INBOX for news (IDLE, else a NOOP after the wait) until timeout or wakeFd.
  void wait(std::chrono::seconds timeout, int wakeFd);

private:
  struct Learnt {
    std::string uri;
    std::string messageId;
    bool junk;
  };

  void lookAt(const std::string& folder, bool isJunkFolder);
  void learn(const std::vector<Learnt>& verdicts);
  // Returns the lowest UID left without a verdict because exchanges with the spam filter failed
  // (to be tried again on the next pass), or 0.
  std::uint32_t classify(const std::string& folder, const std::vector<Learnt>& arrived);

  nsCOMPtr<nsIJunkMailPlugin> mPlugin;
  MailServices& mMail;
  JunkStore& mStore;
  WatchState& mState;
  ImapAccount mAccount;
  std::ostream& mOut;
  std::ostream& mErr;
  std::uint32_t mInboxUidNext = 0; // INBOX's UIDNEXT when the last pass looked at it
};

} // namespace mailhost
