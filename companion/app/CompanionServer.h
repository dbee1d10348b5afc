// The Apple Event handlers that answer the plug-in's score and learn events with the engine.
#pragma once

#include "Engine.h"

#include <CoreServices/CoreServices.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace quellbark {

// Answers the plug-in's events with the engine. A successful score reply holds the score as
// 'shor' in the direct object and no 'errn'; a failed one holds a non-zero 'errn' (and the
// reason in 'errs'). Learn replies hold nothing but a failure's 'errn'.
//
// Clients are served side by side: each event is suspended and queued for its sender (by
// process id), and a worker thread with a classifier of its own answers one sender's queue at a
// time, in order, so each client's events are answered in the order they were sent. At most
// `maxWorkers` senders are served at once. A client alone is answered on the event loop's
// thread, without the hand-over. Classifiers are shared out from one pool, the last used
// first, so a client moving between a worker and the event loop keeps one bogofilter.
//
// A sender's events are answered on the CPUs its sending thread may run on, and the
// classifier's bogofilter runs there too: a client that keeps its exchanges on one CPU has the
// whole chain take turns there.
//
// A commit event is answered once every event queued before it has been answered and the
// engine has committed its learning: what any client was told is learned is then in the word
// list.
class CompanionServer {
public:
  CompanionServer(Engine& engine, std::size_t maxWorkers);
  ~CompanionServer(); // answers what is queued, then ends the workers
  CompanionServer(const CompanionServer&) = delete;
  CompanionServer& operator=(const CompanionServer&) = delete;

  // Installs the handlers for 'Qscr', 'addS', 'addG', 'Qcmt' and the standard quit event.
  OSErr install();

  enum class Request { score, learnSpam, learnGood };
  // Takes an event from the event loop: queues it for its sender, or answers it at once when
  // it cannot be suspended.
  OSErr accept(Request request, const AppleEvent& event, AppleEvent& reply);
  // Commits at once when nothing is queued, else once what is queued now has been answered.
  OSErr acceptCommit(const AppleEvent& event, AppleEvent& reply);

private:
  struct Job {
    Request request;
    AppleEvent event;
    AppleEvent reply;
    std::uint64_t serial; // in the order accepted
  };
  struct Commit {
    std::uint64_t after; // answered once every job before this serial is
    AppleEvent event;
    AppleEvent reply;
  };
  struct Sender {
    std::deque<Job> jobs;
    bool served = false; // a worker is answering its queue
  };

  void answer(Request request, const AppleEvent& event, AppleEvent& reply,
              Engine::Classifier& classifier);
  void runBeside(SInt32 sender, Engine::Classifier& classifier) const;
  void work(std::stop_token stop);
  void commit(AppleEvent& reply);
  // With mMutex held by `lock`: answers the commits no queued job comes before.
  void answerCommits(std::unique_lock<std::mutex>& lock);
  // These three with mMutex held.
  std::uint64_t firstUnanswered() const; // mNextSerial when every job is answered
  std::unique_ptr<Engine::Classifier> takeClassifier();
  void giveBack(std::unique_ptr<Engine::Classifier> classifier);

  Engine& mEngine;
  std::size_t const mMaxWorkers;
  std::optional<CpuSet> const mOwnCpus; // this process's, as it started
  std::mutex mMutex;
  std::condition_variable mWork;     // (not _any: its inner mutex is contended at every hand-over)
  std::map<SInt32, Sender> mSenders; // only those with work: bounded by the clients
  std::deque<SInt32> mReady;         // senders with work and no worker
  std::size_t mIdleWorkers = 0;
  std::vector<std::unique_ptr<Engine::Classifier>> mIdleClassifiers;
  std::vector<std::jthread> mWorkers;
  std::uint64_t mNextSerial = 0;
  std::vector<Commit> mCommits; // waiting for jobs queued before them
  // Events are answered on the event loop's thread while no other sender has sent for this long.
  static constexpr std::chrono::milliseconds kAloneAfter{100};
  SInt32 mLastSender = -1;
  std::chrono::steady_clock::time_point mLastEventAt;   // of the last sender
  std::chrono::steady_clock::time_point mOtherSenderAt; // last event of another sender
};

} // namespace quellbark
