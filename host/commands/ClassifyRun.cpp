#include "ClassifyRun.h"

#include "runtime/CpuPin.h"

#include "ClassificationListener.h"
#include "ImapError.h"
#include "ImapUri.h"
#include "MailError.h"
#include "MailStore.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <unordered_map>

namespace mailhost {

std::string hexResult(nsresult rv) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", rv);
  return text;
}

std::string refusalReason(const std::string& uri, nsresult rv) {
  // The plug-in asks for the message service of the URI's scheme; no such service is the usual
  // reason, and the bare code would not tell the user so.
  if (rv == NS_ERROR_FACTORY_NOT_REGISTERED && uri.find(':') != std::string::npos)
    return "no message service handles URIs of the scheme \"" + uri.substr(0, uri.find(':')) +
           "\" (" + hexResult(rv) + ")";
  return "the plug-in refused the request (" + hexResult(rv) + ")";
}

std::size_t ClassifyReport::count(ClassifyOutcome::Verdict verdict) const {
  switch (verdict) {
  case ClassifyOutcome::Verdict::Junk:
    return junk;
  case ClassifyOutcome::Verdict::Good:
    return good;
  case ClassifyOutcome::Verdict::Unverified:
    return unverified;
  default:
    return unclassified;
  }
}

ClassifyRun::ClassifyRun(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store)
    : mPlugin(plugin), mMail(mail), mStore(store) {}

// A folder's messages as listed for a run: a local folder's listing, or the UIDs of the IMAP
// messages that still wait for a verdict (their URIs made batch by batch, as a local listing
// names its messages only when asked).
struct ClassifyRun::ListedFolder {
  std::string name;
  FolderListing local;
  bool isRemote = false;
  ImapFolderRef remote;
  std::vector<std::uint32_t> remoteUids;
  // A Maildir after the first is listed again when its turn comes, so that a run over many
  // folders holds the names of one at a time; `counted` is what it held when first listed.
  bool listAgain = false;
  std::size_t counted = 0;
  std::size_t size() const { return isRemote ? remoteUids.size() : local.size(); }
  std::string uriAt(std::size_t i) const {
    return isRemote ? imapMessageUri(remote.user, remote.host, remote.folder, remoteUids[i])
                    : local.at(i).uri;
  }
  std::string fileAt(std::size_t i) const { return isRemote ? "" : local.fileAt(i); }
};

ClassifyReport ClassifyRun::runImapMessages(const std::string& folder,
                                            std::vector<std::string> uris) {
  ClassifyReport report;
  report.messages = uris.size();
  ListedFolder listed{folder, {}, true, parseImapFolderUrl(folder), {}};
  listed.remoteUids.reserve(uris.size());
  for (const std::string& uri : uris)
    listed.remoteUids.push_back(parseImapMessageUri(uri).uid);
  std::vector<ListedFolder> listings;
  listings.push_back(std::move(listed));
  runListings(listings, report);
  return report;
}

std::vector<ClassifyOutcome>
ClassifyRun::classifyWithoutStoring(const std::vector<std::string>& uris, ClassifyReport& report) {
  std::vector<ClassifyOutcome> batch;
  for (const std::string& uri : uris)
    batch.push_back(
        {uri, {}, ClassifyOutcome::Verdict::Unclassified, JunkOrigin::Plugin, {}, {}, {}, {}});
  report.messages += batch.size();
  if (mStopped)
    leaveOut(batch, report);
  else
    classifyBatch(batch, report);
  report.stopReason = mStopReason;
  return batch;
}

ClassifyReport ClassifyRun::run(const std::vector<std::filesystem::path>& folders) {
  ClassifyReport report;
  // Listed up front for the count; a listing names its messages only when asked.
  std::vector<ListedFolder> listings;
  for (const std::filesystem::path& folder : folders) {
    ListedFolder listed{folder.string(), {}, isImapFolderUrl(folder.string())};
    try {
      if (listed.isRemote) {
        listed.remote = parseImapFolderUrl(listed.name);
        listed.remoteUids = mMail.imap().uidsWithoutVerdict(listed.remote);
      } else {
        listed.local = mMail.store().list(folder);
      }
      report.messages += listed.size();
      // A message file of a Maildir stays listed: its listing is one entry of the index.
      std::error_code ec;
      if (!listings.empty() && !listed.isRemote &&
          listed.local.kind() == FolderListing::Kind::Maildir &&
          std::filesystem::is_directory(folder, ec)) {
        listed.listAgain = true;
        listed.counted = listed.size();
        listed.local = FolderListing();
      }
      listings.push_back(std::move(listed));
    } catch (const MailError& error) {
      report.errors.push_back(std::string("cannot read folder ") + error.what());
    } catch (const ImapError& error) {
      report.errors.push_back("cannot read folder " + listed.name + ": " + error.what());
    }
  }
  runListings(listings, report);
  return report;
}

void ClassifyRun::runListings(std::vector<ListedFolder>& listings, ClassifyReport& report) {
  mTotal = report.messages;
  mDone = 0;
  if (mOnProgress)
    mOnProgress(mDone, mTotal);
  JunkStatusWriter writer(mStore);
  mWriter = &writer;
  struct Release {
    JunkStatusWriter*& writer;
    ~Release() { writer = nullptr; }
  } release{mWriter};
  std::vector<ClassifyOutcome> batch;
  for (ListedFolder& listing : listings) {
    if (listing.listAgain) {
      try {
        listing.local = mMail.store().list(listing.name);
      } catch (const MailError& error) {
        report.errors.push_back(std::string("cannot read folder ") + error.what());
      }
      // What changed since it was counted changes the count.
      report.messages = report.messages - listing.counted + listing.size();
      mTotal = report.messages;
    }
    for (std::size_t first = 0; first < listing.size(); first += kBatchSize) {
      batch.clear();
      for (std::size_t i = first; i < std::min(listing.size(), first + kBatchSize); ++i)
        batch.push_back({listing.uriAt(i),
                         listing.name,
                         ClassifyOutcome::Verdict::Unclassified,
                         JunkOrigin::Plugin,
                         {},
                         listing.fileAt(i),
                         {},
                         {}});
      keepUsersVerdicts(batch, report);
      if (mStopped) {
        leaveOut(batch, report);
      } else {
        classifyBatch(batch, report);
        storeFailures(report);
      }
      // Verdicts act where the mail is: on the server for IMAP folders, else through the hook.
      if (listing.isRemote)
        recordOnServer(batch, report);
      else if (mOnStored)
        mOnStored(batch, report);
      if (mOnBatch)
        mOnBatch(batch);
    }
    listing = ListedFolder(); // done with: let its keys go
  }
  report.stopReason = mStopReason;
}

void ClassifyRun::recordOnServer(std::vector<ClassifyOutcome>& batch, ClassifyReport& report) {
  for (ClassifyOutcome& outcome : batch) {
    // A message that could not be read, or whose exchange with the spam filter failed, got the
    // plug-in's fallback, not a verdict.
    bool verdict = outcome.verdict == ClassifyOutcome::Verdict::Junk ||
                   outcome.verdict == ClassifyOutcome::Verdict::Good;
    if (!verdict || !outcome.error.empty())
      continue;
    try {
      mMail.imap().recordVerdict(parseImapMessageUri(outcome.uri),
                                 outcome.verdict == ClassifyOutcome::Verdict::Junk, true);
    } catch (const std::runtime_error& error) { // ImapError or MailError
      outcome.error = error.what();
      report.errors.push_back("cannot record the verdict on " + outcome.uri +
                              " on its server: " + error.what());
    }
  }
}

void ClassifyRun::stop(std::string why) {
  if (mStopped)
    return;
  mStopped = true;
  mStopReason = why;
  mWatch.refuseSends(std::move(why));
}

void ClassifyRun::keepUsersVerdicts(std::vector<ClassifyOutcome>& batch, ClassifyReport& report) {
  if (mReclassify)
    return;
  // Between batches the writer has committed everything, so the store is read directly.
  std::vector<std::string> uris;
  uris.reserve(batch.size());
  for (const ClassifyOutcome& outcome : batch)
    uris.push_back(outcome.uri);
  std::vector<std::optional<JunkStatus>> statuses = mStore.findUsersVerdicts(uris);
  for (std::size_t i = 0; i < batch.size(); ++i) {
    ClassifyOutcome& outcome = batch[i];
    if (!keepUsersVerdict(statuses[i], outcome))
      continue;
    ++(outcome.verdict == ClassifyOutcome::Verdict::Junk ? report.junk : report.good);
    ++mDone;
    if (mOnResult)
      mOnResult(outcome);
  }
}

void ClassifyRun::leaveOut(std::vector<ClassifyOutcome>& batch, ClassifyReport& report) {
  for (ClassifyOutcome& outcome : batch) {
    if (outcome.origin == JunkOrigin::User)
      continue;
    outcome.error = "left out: " + mStopReason;
    ++report.unclassified;
    ++report.stoppedUnclassified;
  }
}

void ClassifyRun::storeFailures(ClassifyReport& report) {
  for (const JunkStatusWriter::Failure& failure : mWriter->flush())
    report.errors.push_back("cannot store the verdict on " + failure.uri + ": " + failure.why);
}

void ClassifyRun::classifyBatch(std::vector<ClassifyOutcome>& batch, ClassifyReport& report) {
  mWatch.take(); // each verdict is matched with the exchanges made since the one before
  std::unordered_map<std::string_view, std::size_t> waiting; // URI -> index in the batch
  std::vector<const char*> uris;
  std::vector<std::string> order;
  for (std::size_t i = 0; i < batch.size(); ++i) {
    if (batch[i].origin == JunkOrigin::User)
      continue;
    waiting.emplace(batch[i].uri, i);
    uris.push_back(batch[i].uri.c_str());
    order.push_back(batch[i].uri);
  }
  if (uris.empty())
    return; // every message has the user's verdict
  // The plug-in streams the messages in the order asked for. A lone message (a message file)
  // would only wait for the thread that reads it.
  if (order.size() > 1)
    mMail.readAhead(std::move(order));
  struct StopReadAhead {
    MailServices& mail;
    ~StopReadAhead() { mail.stopReadAhead(); }
  } stopReadAhead{mMail};
  // After the read-ahead's thread has started, which stays free to run beside this one.
  std::optional<CpuPin> pin;
  if (mBatchCpu)
    pin.emplace(*mBatchCpu);
  else if (mOneCpuPerBatch)
    pin.emplace();

  // Called from inside the plug-in: nothing may be thrown back through it.
  nsCOMPtr<ClassificationListener> listener =
      new ClassificationListener([&](const std::string& uri, nsMsgJunkStatus classification) {
        auto it = waiting.find(uri);
        if (it == waiting.end()) {
          report.errors.push_back("the plug-in reported a message it was not asked about, or "
                                  "one message twice: " +
                                  uri);
          return;
        }
        ClassifyOutcome& outcome = batch[it->second];
        waiting.erase(it);
        ++mDone;
        ExchangeWatch::Outcome exchange = mWatch.take();
        if (mMail.failures().contains(uri)) {
          // Never read, so never scored: it stays unclassified, with the reason, below.
        } else if (!exchange.verified && mStopped) {
          outcome.error = "left out: " + mStopReason;
          ++report.stoppedUnclassified;
        } else if (!exchange.verified) {
          outcome.verdict = ClassifyOutcome::Verdict::Unverified;
          outcome.error = exchange.failure;
          ++report.unverified;
          report.unverifiedWhy = exchange.failure;
          if (exchange.timedOut)
            stop(exchange.failure);
          else if (std::size_t failed = mWatch.consecutiveFailures();
                   failed >= ExchangeWatch::kFailuresBeforeStopping)
            stop(std::to_string(failed) +
                 " exchanges with Quellbark failed in a row, the last: " + exchange.failure);
          if (mOnResult)
            mOnResult(outcome);
        } else {
          bool junk = classification == nsIJunkMailPlugin::JUNK;
          outcome.verdict = junk ? ClassifyOutcome::Verdict::Junk : ClassifyOutcome::Verdict::Good;
          ++(junk ? report.junk : report.good);
          if (mWriter)
            mWriter->record(uri, junkScoreFor(classification), JunkOrigin::Plugin);
          if (mOnResult)
            mOnResult(outcome);
        }
        if (mOnProgress)
          mOnProgress(mDone, mTotal);
      });

  nsresult rv =
      mPlugin->ClassifyMessages(static_cast<PRUint32>(uris.size()), uris.data(), nullptr, listener);
  if (NS_FAILED(rv)) {
    const std::string uri = uris.front();
    auto why = mMail.failures().find(uri);
    report.errors.push_back("cannot classify " + uri + ": " +
                            (why != mMail.failures().end() ? why->second : refusalReason(uri, rv)));
  } else {
    mMail.loop().runUntil([&] { return waiting.empty(); });
  }
  listener->detach();
  mMail.stopReadAhead();

  for (ClassifyOutcome& outcome : batch) {
    if (outcome.origin == JunkOrigin::User)
      continue;
    auto why = mMail.failures().find(outcome.uri);
    if (why != mMail.failures().end()) {
      outcome.error = why->second;
      if (NS_SUCCEEDED(rv))
        report.errors.push_back("cannot read message " + outcome.uri + ": " + why->second);
    } else if (outcome.verdict == ClassifyOutcome::Verdict::Unclassified && outcome.error.empty()) {
      outcome.error = NS_FAILED(rv) ? "the request failed" : "never classified";
    }
    if (outcome.verdict == ClassifyOutcome::Verdict::Unclassified)
      ++report.unclassified;
  }
}

bool keepUsersVerdict(const std::optional<JunkStatus>& stored, ClassifyOutcome& outcome) {
  if (!stored || stored->origin != JunkOrigin::User)
    return false;
  outcome.origin = JunkOrigin::User;
  outcome.verdict = previousUserClassification(stored) == kJunk ? ClassifyOutcome::Verdict::Junk
                                                                : ClassifyOutcome::Verdict::Good;
  return true;
}

const char* verdictWord(ClassifyOutcome::Verdict verdict) {
  switch (verdict) {
  case ClassifyOutcome::Verdict::Junk:
    return "junk";
  case ClassifyOutcome::Verdict::Good:
    return "good";
  case ClassifyOutcome::Verdict::Unverified:
    return "unverified";
  default:
    return "unclassified";
  }
}

} // namespace mailhost
