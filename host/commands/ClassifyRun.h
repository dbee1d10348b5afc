// One classify run: hands messages to the plug-in, verifies and stores its verdicts, moves junk.
#pragma once

#include "ExchangeWatch.h"
#include "JunkStatusWriter.h"
#include "JunkStore.h"
#include "MailServices.h"

#include <nsIJunkMailPlugin.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mailhost {

// What became of one message of a classify run.
struct ClassifyOutcome {
  // Unverified: the plug-in reported a verdict after a failed exchange with the spam filter, so
  // the verdict says nothing (the plug-in reports good then); it is not stored.
  enum class Verdict { Junk, Good, Unverified, Unclassified };
  std::string uri;
  std::string folder;
  Verdict verdict = Verdict::Unclassified;
  JunkOrigin origin = JunkOrigin::Plugin; // User: the user's stored verdict, kept as it was
  std::string error; // why it could not be read, classified or verified, if it could not
  std::string path;  // the file that held it when its folder was listed
  std::filesystem::path movedTo; // where it was moved to after its verdict, if it was
  std::string movedToUri;
};

// The word for a verdict in output lines, JSON and the workers' replies.
const char* verdictWord(ClassifyOutcome::Verdict verdict);

// A verdict the user gave is kept as it was, not asked for again. Whether `stored` was one; if
// so, `outcome` now carries it.
bool keepUsersVerdict(const std::optional<JunkStatus>& stored, ClassifyOutcome& outcome);

// The sum of a run. The outcomes themselves are handed out batch by batch as the run goes (a
// run may cover any number of messages); only those never classified are kept.
struct ClassifyReport {
  std::size_t messages = 0;
  std::size_t junk = 0;
  std::size_t good = 0;
  std::size_t unverified = 0;
  std::string unverifiedWhy;           // the last failed exchange's reason
  std::size_t unclassified = 0;        // each has its line, with why
  std::size_t stoppedUnclassified = 0; // of those, left out because the run was stopped
  std::string stopReason;              // why it was stopped, if it was
  std::vector<std::string> errors;     // one line per problem, naming its folder or message
  std::size_t count(ClassifyOutcome::Verdict verdict) const;
  // Some message went without a verdict because exchanges with the spam filter failed.
  bool exchangesFailed() const { return unverified > 0 || stoppedUnclassified > 0; }
};

// Classifies folders through the junk-mail plug-in as the host does for new mail: each folder
// in ClassifyMessages batches of at most kBatchSize messages, one after the other, each verdict
// stored (origin plugin, score 100 or 0) as it arrives, by a writer thread that commits every
// few milliseconds and has committed them all when a batch ends. While the plug-in works on a
// batch, its messages are read ahead on another thread. A batch ends when every message is
// reported or the event loop runs dry; what was never reported stays unclassified. A folder may
// also be an IMAP folder URL: its messages without $Junk or $NotJunk are classified, and each
// verdict is also set on the server as that keyword, junk moved to the account's junk folder.
//
// A verdict the plug-in reports after a failed exchange with the spam filter is unverified and
// not stored. After ExchangeWatch::kFailuresBeforeStopping failed exchanges in a row, or one that
// timed out, the run stops: every later send fails at once, no further batch starts, and what is
// left is unclassified; so a spam filter that hangs costs one timeout, not one per message.
//
// The user's verdicts win: a message whose stored status is the user's is not sent to the
// plug-in and keeps its status, unless reclassify(true) is asked for.
class ClassifyRun {
public:
  static constexpr std::size_t kBatchSize = 256;

  using ResultCallback = std::function<void(const ClassifyOutcome&)>;
  using BatchCallback = std::function<void(const std::vector<ClassifyOutcome>&)>;
  using ProgressCallback = std::function<void(std::size_t done, std::size_t total)>;
  using StoredCallback = std::function<void(std::vector<ClassifyOutcome>&, ClassifyReport&)>;

  ClassifyRun(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store);

  // Each verdict as it arrives.
  void onResult(ResultCallback callback) { mOnResult = std::move(callback); }
  // Each batch's outcomes in folder order once the batch has ended, errors included.
  void onBatch(BatchCallback callback) { mOnBatch = std::move(callback); }
  void onProgress(ProgressCallback callback) { mOnProgress = std::move(callback); }
  // Each batch once its verdicts are committed to the store, before onBatch: what acts on the
  // verdicts may change the outcomes and add errors.
  void onStored(StoredCallback callback) { mOnStored = std::move(callback); }

  // Also sends the messages the user has decided, and replaces their statuses.
  void reclassify(bool yes) { mReclassify = yes; }
  // Each batch's exchanges on the one CPU the batch starts on (runtime/CpuPin.h). Not for
  // processes that run side by side on a machine's CPUs: pinned where each happens to be, they
  // would crowd onto the same CPU for whole batches.
  void oneCpuPerBatch(bool yes) { mOneCpuPerBatch = yes; }
  // Each batch's exchanges on this CPU: one given to this process alone, or shared evenly with
  // other processes that run side by side.
  void batchesOnCpu(int cpu) { mBatchCpu = cpu; }

  ClassifyReport run(const std::vector<std::filesystem::path>& folders);
  // The given messages of one IMAP folder, their verdicts recorded on the server as above.
  ClassifyReport runImapMessages(const std::string& folder, std::vector<std::string> uris);
  // The given local messages as one batch, classified as run() does but neither stored nor
  // acted on: for a worker process whose parent stores the verdicts. The user's verdicts are
  // not looked up (the parent has done that).
  std::vector<ClassifyOutcome> classifyWithoutStoring(const std::vector<std::string>& uris,
                                                      ClassifyReport& report);

  // Ends the run early: every later send fails at once and no further batch starts; `why` is
  // reported for the messages left out. The first reason given is kept.
  void stop(std::string why);

private:
  struct ListedFolder;
  void runListings(std::vector<ListedFolder>& listings, ClassifyReport& report);
  void classifyBatch(std::vector<ClassifyOutcome>& batch, ClassifyReport& report);
  void keepUsersVerdicts(std::vector<ClassifyOutcome>& batch, ClassifyReport& report);
  void leaveOut(std::vector<ClassifyOutcome>& batch, ClassifyReport& report);
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
  StoredCallback mOnStored;
  std::size_t mDone = 0;
  std::size_t mTotal = 0;
  ExchangeWatch mWatch;
  bool mReclassify = false;
  bool mOneCpuPerBatch = true;
  std::optional<int> mBatchCpu;
  bool mStopped = false;
  std::string mStopReason;
};

std::string hexResult(nsresult rv);
// Why the plug-in did not take a request for this URI, given the request's result.
std::string refusalReason(const std::string& uri, nsresult rv);

} // namespace mailhost
