// `mailhost classify -j N`: one run spread over worker processes.
#pragma once

#include "ClassifyRun.h"

#include <cstddef>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace mailhost {

// Classifies folders with N worker processes, each its own runtime and plug-in instance
// classifying as a single process does (see ClassifyRun), so that reading mail, the exchanges
// and the spam filter's work overlap. This process lists the folders, hands the workers small
// batches from one queue, and alone stores the verdicts, acts on them (onStored) and hands the
// outcomes on (onBatch) in folder order, holding back those that come early.
//
// A worker that dies (or sends what is not a reply) is replaced, and the messages it held go to
// the queue again; a message whose worker died twice is unclassified, with the reason, and
// reported as an error. When a worker stops sending (failed exchanges with the spam filter), no
// further batch is handed out and the rest is left out as a single run leaves it out. SIGINT or
// SIGTERM ends the workers; what was classified is stored and handed on, the rest unclassified.
class ClassifyWorkers {
public:
  // Messages per request: enough that the plug-in's cost per batch does not count, few enough
  // that every worker gets several batches of a small run.
  static constexpr std::size_t kMinBatchSize = 8;
  static constexpr std::size_t kMaxBatchSize = 64;
  static constexpr std::size_t kBatchesPerWorker = 2; // one worked on, one waiting
  static constexpr int kWorkerDeathsPerMessage = 2;
  static constexpr std::size_t kFailedStartsBeforeGivingUp = 3; // in a row, none answering

  // `workerCommand`: the command line that starts one worker (executable first), whose socket
  // to this process is its standard input. Notes on workers that died go to `diagnostics`.
  ClassifyWorkers(std::size_t jobs, std::vector<std::string> workerCommand, const MailStore& mail,
                  JunkStore& store, std::ostream& diagnostics);

  void onBatch(ClassifyRun::BatchCallback callback) { mOnBatch = std::move(callback); }
  void onStored(ClassifyRun::StoredCallback callback) { mOnStored = std::move(callback); }
  void onProgress(ClassifyRun::ProgressCallback callback) { mOnProgress = std::move(callback); }
  void reclassify(bool yes) { mReclassify = yes; }

  ClassifyReport run(const std::vector<std::filesystem::path>& folders);

private:
  std::size_t mJobs;
  std::vector<std::string> mWorkerCommand;
  const MailStore& mMail;
  JunkStore& mStore;
  std::ostream& mDiagnostics;
  ClassifyRun::BatchCallback mOnBatch;
  ClassifyRun::StoredCallback mOnStored;
  ClassifyRun::ProgressCallback mOnProgress;
  bool mReclassify = false;
};

} // namespace mailhost
