#include "ClassifyRun.h"

#include "ClassificationListener.h"
#include "MailError.h"

#include <algorithm>
#include <cstdio>
#include <map>

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
  return static_cast<std::size_t>(
      std::count_if(messages.begin(), messages.end(),
                    [verdict](const ClassifyOutcome& m) { return m.verdict == verdict; }));
}

ClassifyRun::ClassifyRun(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store)
    : mPlugin(plugin), mMail(mail), mStore(store) {}

ClassifyReport ClassifyRun::run(const std::vector<std::filesystem::path>& folders) {
  ClassifyReport report;
  std::vector<std::pair<std::size_t, std::size_t>> batches; // first message, count
  for (const std::filesystem::path& folder : folders) {
    try {
      std::vector<MessageRef> refs = mMail.store().messagesIn(folder);
      batches.emplace_back(report.messages.size(), refs.size());
      for (const MessageRef& ref : refs)
        report.messages.push_back(
            {ref.uri, folder.string(), ClassifyOutcome::Verdict::Unclassified, {}});
    } catch (const MailError& error) {
      report.errors.push_back(std::string("cannot read folder ") + error.what());
    }
  }
  mTotal = report.messages.size();
  mDone = 0;
  if (mOnProgress)
    mOnProgress(mDone, mTotal);
  for (auto [first, count] : batches)
    if (count > 0) // the plug-in reads the first URI even of an empty batch
      classifyBatch(first, count, report);
  return report;
}

void ClassifyRun::classifyBatch(std::size_t first, std::size_t count, ClassifyReport& report) {
  std::map<std::string, std::size_t> waiting; // URI -> index in the report
  std::vector<const char*> uris;
  for (std::size_t i = first; i < first + count; ++i) {
    waiting.emplace(report.messages[i].uri, i);
    uris.push_back(report.messages[i].uri.c_str());
  }

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
        ClassifyOutcome& outcome = report.messages[it->second];
        waiting.erase(it);
        outcome.verdict = classification == nsIJunkMailPlugin::JUNK
                              ? ClassifyOutcome::Verdict::Junk
                              : ClassifyOutcome::Verdict::Good;
        try {
          mStore.record(uri, junkScoreFor(classification), JunkOrigin::Plugin);
        } catch (const JunkStoreError& error) {
          report.errors.push_back(std::string("cannot store the verdict on ") + uri + ": " +
                                  error.what());
        }
        ++mDone;
        if (mOnResult)
          mOnResult(outcome);
        if (mOnProgress)
          mOnProgress(mDone, mTotal);
      });

  nsresult rv =
      mPlugin->ClassifyMessages(static_cast<PRUint32>(uris.size()), uris.data(), nullptr, listener);
  if (NS_FAILED(rv)) {
    const std::string& uri = report.messages[first].uri;
    auto why = mMail.failures().find(uri);
    report.errors.push_back("cannot classify " + uri + ": " +
                            (why != mMail.failures().end() ? why->second : refusalReason(uri, rv)));
  } else {
    mMail.loop().runUntil([&] { return waiting.empty(); });
  }
  listener->detach();

  for (std::size_t i = first; i < first + count; ++i) {
    ClassifyOutcome& outcome = report.messages[i];
    auto why = mMail.failures().find(outcome.uri);
    if (why != mMail.failures().end()) {
      outcome.error = why->second;
      if (NS_SUCCEEDED(rv))
        report.errors.push_back("cannot read message " + outcome.uri + ": " + why->second);
    } else if (outcome.verdict == ClassifyOutcome::Verdict::Unclassified) {
      outcome.error = NS_FAILED(rv) ? "the request failed" : "never classified";
    }
  }
}

} // namespace mailhost
