#pragma once

#include "JunkStatusWriter.h"
#include "JunkStore.h"
#include "MailServices.h"

#include <nsIJunkMailPlugin.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace mailhost {

// What became of one message of a classify run.
struct ClassifyOutcome {
  enum class Verdict { Junk, Good, Unclassified };
  std::string uri;
  std::string folder;
  Verdict verdict = Verdict::Unclassified;
  std::string error; // why it could not be read or classified, if it could not
};

// The sum of a run. The outcomes themselves are handed out batch by batch as the run goes (a
// run may cover any number of messages); only those never classified are kept.
struct ClassifyReport {
  std::size_t messages = 0;
  std::size_t junk = 0;
  std::size_t good = 0;
  std::vector<std::string> unclassified; // their URIs, in folder order
  std::vector<std::string> errors;       // one line per problem, naming its folder or message
  std::size_t count(ClassifyOutcome::Verdict verdict) const;
};

// Classifies folders through the junk-mail plug-in as the host does for new mail: each folder
// in ClassifyMessages batches of at most kBatchSize messages, one after the other, each verdict
// stored (origin plugin, score 100 or 0) as it arrives, by a writer thread that commits every
// few milliseconds and has committed them all when a batch ends. While the plug-in works on a
// batch, its messages are read ahead on another thread. A batch ends when every message is
// reported or the event loop runs dry; what was never reported stays unclassified. A folder may
// also be an IMAP folder URL: its messages without $Junk or $NotJunk are classified, and each
// verdict is also set on the server as that keyword, junk moved to the account's junk folder.
class ClassifyRun {
public:
  static constexpr std::size_t kBatchSize = 256;

  using ResultCallback = std::function<void(const ClassifyOutcome&)>;
  using BatchCallback = std::function<void(const std::vector<ClassifyOutcome>&)>;
  using ProgressCallback = std::function<void(std::size_t done, std::size_t total)>;

  ClassifyRun(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store);

  // Each verdict as it arrives.
  void onResult(ResultCallback callback) { mOnResult = std::move(callback); }
  // Each batch's outcomes in folder order once the batch has ended, errors included.
  void onBatch(BatchCallback callback) { mOnBatch = std::move(callback); }
  void onProgress(ProgressCallback callback) { mOnProgress = std::move(callback); }

  ClassifyReport run(const std::vector<std::filesystem::path>& folders);
  // The given messages of one IMAP folder, their verdicts recorded on the server as above.
  ClassifyReport runImapMessages(const std::string& folder, std::vector<std::string> uris);

private:
  struct ListedFolder;
  void runListings(std::vector<ListedFolder>& listings, ClassifyReport& report);
  void classifyBatch(std::vector<ClassifyOutcome>& batch, ClassifyReport& report);
  void storeFailures(ClassifyReport& report);
  // IMAP messages: the verdict as a keyword on the server, junk moved to the junk folder.
  void recordOnServer(std::vector<ClassifyOutcome>& batch, ClassifyReport& report);

  nsCOMPtr<nsIJunkMailPlugin> mPlugin;
  MailServices& mMail;
  JunkStore& mStore;
  JunkStatusWriter* mWriter = nullptr; // for the length of run()
  ResultCallback mOnResult;
  BatchCallback mOnBatch;
  ProgressCallback mOnProgress;
  std::size_t mDone = 0;
  std::size_t mTotal = 0;
};

std::string hexResult(nsresult rv);
// Why the plug-in did not take a request for this URI, given the request's result.
std::string refusalReason(const std::string& uri, nsresult rv);

} // namespace mailhost
