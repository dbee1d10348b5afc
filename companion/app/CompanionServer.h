// The Apple Event handlers that answer the plug-in's score and learn events with the engine.
#pragma once

#include "Engine.h"

#include <CoreServices/CoreServices.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

namespace quellbark {

// Answers the plug-in's events with the engine. A successful score reply holds the score as
// 'shor' in the direct object and no 'errn'; a failed one holds a non-zero 'errn' (and the
// reason in 'errs'). Learn replies hold nothing but a failure's 'errn'.
//
// Each client connection is served on a thread of its own, so clients are answered side by
// side and each client's events in the order it sent them, with no hand-over between threads.
// A score takes a classifier from a shared pool, preferring the one its thread used last, so a
// busy client keeps one bogofilter; at most `maxClassifiers` are busy at once, and a score
// beyond them waits for one.
//
// A sender's events are answered on the CPUs its sending thread may run on, and the
// classifier's bogofilter runs there too: a client that keeps its exchanges on one CPU has the
// whole chain take turns there.
//
// A commit event is answered once every event that arrived before it has been answered and the
// engine has committed its learning: what any client was told is learned is then in the word
// list.
class CompanionServer {
public:
  CompanionServer(Engine& engine, std::size_t maxClassifiers);
  CompanionServer(const CompanionServer&) = delete;
  CompanionServer& operator=(const CompanionServer&) = delete;

  // Installs the handlers for 'Qscr', 'addS', 'addG', 'Qcmt' and the standard quit event, and
  // has each connection served on a thread of its own.
  OSErr install();

  enum class Request { score, learnSpam, learnGood };
  OSErr accept(Request request, const AppleEvent& event, AppleEvent& reply);
  OSErr acceptCommit(AppleEvent& reply);

private:
  void answer(Request request, const AppleEvent& event, AppleEvent& reply);
  void runBeside(SInt32 sender, Engine::Classifier& classifier) const;
  // These two with mMutex held by `lock`.
  std::unique_ptr<Engine::Classifier> takeClassifier(std::unique_lock<std::mutex>& lock);
  void giveBack(std::unique_ptr<Engine::Classifier> classifier);

  Engine& mEngine;
  std::size_t const mMaxClassifiers;
  std::optional<CpuSet> const mOwnCpus; // this process's, as it started
  std::mutex mMutex;
  std::condition_variable mChanged; // a classifier came back, or an event was answered
  std::vector<std::unique_ptr<Engine::Classifier>> mIdleClassifiers;
  std::size_t mBusyClassifiers = 0;
  std::uint64_t mNextSerial = 0;
  std::set<std::uint64_t> mUnanswered; // serials of the events being answered
};

} // namespace quellbark
