// The Apple Event handlers that answer the plug-in's score and learn events with the engine.
#pragma once

#include "Engine.h"

#include <CoreServices/CoreServices.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
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
class CompanionServer {
public:
  CompanionServer(Engine& engine, std::size_t maxWorkers);
  ~CompanionServer(); // answers what is queued, then ends the workers
  CompanionServer(const CompanionServer&) = delete;
  CompanionServer& operator=(const CompanionServer&) = delete;

  // Installs the handlers for 'Qscr', 'addS', 'addG' and the standard quit event.
  OSErr install();

  enum class Request { score, learnSpam, learnGood };
  // Takes an event from the event loop: queues it for its sender, or answers it at once when
  // it cannot be suspended.
  OSErr accept(Request request, const AppleEvent& event, AppleEvent& reply);

private:
  struct Job {
    Request request;
    AppleEvent event;
    AppleEvent reply;
  };
  struct Sender {
    std::deque<Job> jobs;
    bool served = false; // a worker is answering its queue
  };

  void answer(Request request, const AppleEvent& event, AppleEvent& reply,
              Engine::Classifier& classifier);
  void work(std::stop_token stop);
  // Both with mMutex held.
  std::unique_ptr<Engine::Classifier> takeClassifier();
  void giveBack(std::unique_ptr<Engine::Classifier> classifier);

  Engine& mEngine;
  std::size_t const mMaxWorkers;
  std::mutex mMutex;
  std::condition_variable mWork;     // (not _any: its inner mutex is contended at every hand-over)
  std::map<SInt32, Sender> mSenders; // only those with work: bounded by the clients
  std::deque<SInt32> mReady;         // senders with work and no worker
  std::size_t mIdleWorkers = 0;
  std::vector<std::unique_ptr<Engine::Classifier>> mIdleClassifiers;
  std::vector<std::jthread> mWorkers;
  // Events are answered on the event loop's thread while no other sender has sent for this long.
  static constexpr std::chrono::milliseconds kAloneAfter{100};
  SInt32 mLastSender = -1;
  std::chrono::steady_clock::time_point mLastEventAt;   // of the last sender
  std::chrono::steady_clock::time_point mOtherSenderAt; // last event of another sender
};

} // namespace quellbark
