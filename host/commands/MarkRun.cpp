#include "MarkRun.h"

#include "ClassificationListener.h"
#include "ClassifyRun.h"
#include "ImapUri.h"
#include "MailError.h"

#include <map>

namespace mailhost {

MarkRun::MarkRun(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store)
    : mPlugin(plugin), mMail(mail), mStore(store) {}

std::vector<MarkOutcome> MarkRun::run(const std::vector<std::string>& uris,
                                      nsMsgJunkStatus verdict) {
  std::vector<MarkOutcome> outcomes;
  std::multimap<std::string, std::size_t> unconfirmed;
  bool refusing = false;
  mWatch.allowSends();
  mWatch.take();
  // Called from inside the plug-in, right after its training exchange for the message.
  nsCOMPtr<ClassificationListener> listener =
      new ClassificationListener([&](const std::string& uri, nsMsgJunkStatus) {
        auto it = unconfirmed.find(uri);
        ExchangeWatch::Outcome exchange = mWatch.take();
        if (it == unconfirmed.end())
          return;
        MarkOutcome& outcome = outcomes[it->second];
        unconfirmed.erase(it);
        outcome.confirmed = true;
        outcome.trained = exchange.verified;
        outcome.trainingFailure = exchange.failure;
        if (outcome.trained) {
          try {
            mStore.record(uri, junkScoreFor(verdict), JunkOrigin::User, true);
          } catch (const JunkStoreError& error) {
            outcome.error = error.what();
          }
        } else if (!refusing && !mMail.failures().contains(uri) &&
                   (exchange.timedOut ||
                    mWatch.consecutiveFailures() >= ExchangeWatch::kFailuresBeforeStopping)) {
          refusing = true;
          mWatch.refuseSends("not sent after failed exchanges, the last: " + exchange.failure);
        }
      });

  for (const std::string& uri : uris) {
    MarkOutcome outcome;
    outcome.uri = uri;
    try {
      std::optional<JunkStatus> stored = mStore.find(uri);
      outcome.previous = previousUserClassification(stored);
      outcome.alreadyMarked = !mAgain && outcome.previous == verdict && stored->trained;
    } catch (const JunkStoreError& error) {
      outcome.error = error.what();
      outcomes.push_back(outcome);
      continue;
    }
    if (outcome.alreadyMarked) {
      outcomes.push_back(outcome);
      continue;
    }
    // The user marks messages that exist: a local URI that names none is refused here. Other
    // URIs go to the plug-in, which finds out for itself whether a service streams them.
    try {
      mMail.store().locate(mMail.store().parseUri(uri));
    } catch (const MailError& error) {
      if (error.kind() != MailErrorKind::BadUri) {
        outcome.error = error.what();
        outcomes.push_back(outcome);
        continue;
      }
    }
    outcomes.push_back(outcome);
    std::size_t index = outcomes.size() - 1;
    unconfirmed.emplace(uri, index);
    nsresult rv = mPlugin->SetMessageClassification(uri.c_str(), outcomes[index].previous, verdict,
                                                    nullptr, listener);
    if (NS_FAILED(rv)) {
      auto why = mMail.failures().find(uri);
      outcomes[index].error = why != mMail.failures().end() ? why->second : refusalReason(uri, rv);
      for (auto it = unconfirmed.begin(); it != unconfirmed.end(); ++it)
        if (it->second == index) {
          unconfirmed.erase(it);
          break;
        }
      continue;
    }
    outcomes[index].accepted = true;
    try {
      mStore.record(uri, junkScoreFor(verdict), JunkOrigin::User, false);
    } catch (const JunkStoreError& error) {
      outcomes[index].error = error.what();
    }
  }
  mMail.loop().runUntil([&] { return unconfirmed.empty(); });
  listener->detach();
  for (MarkOutcome& outcome : outcomes) {
    auto why = mMail.failures().find(outcome.uri);
    if (outcome.error.empty() && why != mMail.failures().end())
      outcome.error = "cannot read the message: " + why->second;
    // On an IMAP server a verdict the spam filter learned is also the message's keyword, for
    // every client to see; one whose exchange failed is not shown as a verdict there.
    if (outcome.trained && outcome.error.empty() && isImapMessageUri(outcome.uri)) {
      try {
        mMail.imap().recordVerdict(parseImapMessageUri(outcome.uri), verdict == kJunk, false);
      } catch (const std::runtime_error& error) { // ImapError or MailError
        outcome.error = std::string("cannot set the keyword on the server: ") + error.what();
      }
    }
  }
  return outcomes;
}

bool namesMessageUri(const std::string& target) {
  std::size_t colon = target.find(':');
  return colon != std::string::npos && colon > 1 && target.find_first_of("/\\") > colon;
}

} // namespace mailhost
