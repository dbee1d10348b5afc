#include "ImapWatch.h"

#include "ClassifyRun.h"
#include "ImapUri.h"
#include "MarkRun.h"

#include <algorithm>
#include <map>
#include <ostream>

namespace mailhost {

namespace {

// The verdict a message's keywords give: $NotJunk wins over $Junk (a client that sets the one
// may not have taken the other off).
std::optional<bool> keywordVerdict(const MessageFlags& message) {
  if (message.has(kNotJunkKeyword))
    return false;
  if (message.has(kJunkKeyword))
    return true;
  return std::nullopt;
}

const char* verdictName(bool junk) {
  return junk ? "junk" : "good";
}

} // namespace

ImapWatch::ImapWatch(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store,
                     WatchState& state, ImapAccount account, std::ostream& out, std::ostream& err)
    : mPlugin(plugin), mMail(mail), mStore(store), mState(state), mAccount(std::move(account)),
      mOut(out), mErr(err) {}

void ImapWatch::pass() {
  ImapConnection& imap = mMail.imap().connection(mAccount);
  std::string junkFolder = imap.junkFolder();
  lookAt("INBOX", false);
  if (junkFolder != "INBOX")
    lookAt(junkFolder, true);
  mOut.flush();
}

void ImapWatch::lookAt(const std::string& folder, bool isJunkFolder) {
  ImapConnection& imap = mMail.imap().connection(mAccount);
  FolderState now = imap.select(folder);
  if (!isJunkFolder)
    mInboxUidNext = now.uidNext;
  const std::string name = mAccount.name();
  std::optional<WatchState::Folder> seen = mState.folder(name, folder);
  auto uriOf = [&](std::uint32_t uid) {
    return imapMessageUri(mAccount.endpoint.user, mAccount.endpoint.host, folder, uid);
  };

  if (!seen || seen->uidValidity != now.uidValidity) {
    if (seen)
      mErr << "mailhost: " << folder << " on " << name
           << " was rebuilt (its UIDVALIDITY changed); watching it from its present messages on\n";
    // What the messages there say already is known, not news.
    std::uint32_t highest = 0;
    for (const MessageFlags& message : imap.flags(1, 0, true)) {
      highest = std::max(highest, message.uid);
      if (std::optional<bool> verdict = keywordVerdict(message);
          verdict && !message.messageId.empty())
        mState.setVerdict(name, message.messageId, *verdict);
    }
    mState.setFolder(name, folder, {now.uidValidity, highest, now.highestModSeq});
    return;
  }

  std::vector<Learnt> learnt, arrived;
  auto noteUserVerdict = [&](const MessageFlags& message, bool junk) {
    std::optional<bool> known;
    if (!message.messageId.empty())
      known = mState.verdict(name, message.messageId);
    if (!known.has_value() || *known != junk)
      learnt.push_back({uriOf(message.uid), message.messageId, junk});
  };

  // Keywords changed on messages seen before.
  if (seen->highestUid > 0) {
    bool changesOnly = imap.hasCapability("CONDSTORE") && seen->modSeq > 0;
    for (const MessageFlags& message : imap.flags(1, changesOnly ? seen->modSeq : 0, true)) {
      if (message.uid > seen->highestUid || message.deleted)
        continue;
      if (std::optional<bool> verdict = keywordVerdict(message))
        noteUserVerdict(message, *verdict);
    }
  }

  // Messages new to the folder.
  std::uint32_t highest = seen->highestUid;
  for (const MessageFlags& message : imap.flags(seen->highestUid + 1, 0, true)) {
    highest = std::max(highest, message.uid);
    if (message.deleted)
      continue;
    std::optional<bool> verdict = keywordVerdict(message);
    bool knownJunk = false;
    if (!message.messageId.empty())
      knownJunk = mState.verdict(name, message.messageId).value_or(false);
    if (isJunkFolder) {
      if (!knownJunk) // moved here by the user (the filter's own moves are known junk)
        learnt.push_back({uriOf(message.uid), message.messageId, true});
    } else if (!verdict) {
      arrived.push_back({uriOf(message.uid), message.messageId, false});
    } else if (*verdict && knownJunk) {
      // Junk the user took out of the junk folder: good after all.
      learnt.push_back({uriOf(message.uid), message.messageId, false});
    } else {
      noteUserVerdict(message, *verdict);
    }
  }

  learn(learnt);
  if (std::uint32_t retry = classify(folder, arrived))
    highest = std::min(highest, retry - 1);
  // A message that could not be had because the connection dropped is looked at again: the
  // place is kept only while the server still answers (those done meanwhile carry their
  // keyword or have moved, so they are not done twice).
  mMail.imap().connection(mAccount).select(folder);
  mState.setFolder(name, folder, {now.uidValidity, highest, now.highestModSeq});
}

void ImapWatch::learn(const std::vector<Learnt>& verdicts) {
  for (bool junk : {true, false}) {
    std::vector<std::string> uris;
    std::map<std::string, std::string> messageIds;
    for (const Learnt& verdict : verdicts)
      if (verdict.junk == junk) {
        uris.push_back(verdict.uri);
        messageIds[verdict.uri] = verdict.messageId;
      }
    if (uris.empty())
      continue;
    MarkRun run(mPlugin, mMail, mStore);
    for (const MarkOutcome& outcome : run.run(uris, junk ? kJunk : kGood)) {
      if (!outcome.error.empty() || !outcome.accepted || !outcome.trained) {
        mErr << "mailhost: cannot learn " << verdictName(junk) << " from " << outcome.uri << ": "
             << (!outcome.error.empty()             ? outcome.error
                 : !outcome.trainingFailure.empty() ? outcome.trainingFailure
                                                    : std::string("the plug-in refused it"))
             << "\n";
        continue;
      }
      if (!messageIds[outcome.uri].empty())
        mState.setVerdict(mAccount.name(), messageIds[outcome.uri], junk);
      mOut << "learnt " << verdictName(junk) << "  " << outcome.uri << "\n";
    }
  }
}

std::uint32_t ImapWatch::classify(const std::string& folder, const std::vector<Learnt>& arrived) {
  if (arrived.empty())
    return 0;
  std::uint32_t retry = 0;
  std::vector<std::string> uris;
  std::map<std::string, std::string> messageIds;
  for (const Learnt& message : arrived) {
    uris.push_back(message.uri);
    messageIds[message.uri] = message.messageId;
  }
  ClassifyRun run(mPlugin, mMail, mStore);
  run.onBatch([&](const std::vector<ClassifyOutcome>& batch) {
    for (const ClassifyOutcome& outcome : batch) {
      if (outcome.verdict == ClassifyOutcome::Verdict::Unverified ||
          (outcome.verdict == ClassifyOutcome::Verdict::Unclassified &&
           outcome.error.starts_with("left out: "))) {
        std::uint32_t uid = parseImapMessageUri(outcome.uri).uid;
        retry = retry ? std::min(retry, uid) : uid;
      }
      bool verdict = outcome.verdict == ClassifyOutcome::Verdict::Junk ||
                     outcome.verdict == ClassifyOutcome::Verdict::Good;
      if (!verdict || !outcome.error.empty())
        continue;
      bool junk = outcome.verdict == ClassifyOutcome::Verdict::Junk;
      if (!messageIds[outcome.uri].empty())
        mState.setVerdict(mAccount.name(), messageIds[outcome.uri], junk);
      mOut << verdictName(junk) << "  " << outcome.uri << "\n";
    }
  });
  ClassifyReport report = run.runImapMessages(
      imapFolderUrl(mAccount.endpoint.user, mAccount.endpoint.host, folder), std::move(uris));
  for (const std::string& error : report.errors)
    mErr << "mailhost: " << error << "\n";
  if (report.unverified)
    mErr << "mailhost: " << report.unverified << " message(s) not verified ("
         << report.unverifiedWhy << "); tried again on the next look\n";
  return retry;
}

void ImapWatch::wait(std::chrono::seconds timeout, int wakeFd) {
  ImapConnection& imap = mMail.imap().connection(mAccount);
  // Mail that came while the last pass was under way is already in the folder the new SELECT
  // reports, and IDLE announces only what comes after it: look again at once instead.
  if (imap.select("INBOX").uidNext != mInboxUidNext)
    return;
  imap.waitForChanges(timeout, wakeFd);
}

} // namespace mailhost
