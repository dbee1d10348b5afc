// Telling a verdict after a failed exchange with the spam filter from a real one.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>

namespace mailhost {

// Watches this process's Apple Event exchanges with the spam filter, so that the host can tell a
// verdict the plug-in reported after a failed exchange (it reports good then) from a real one.
//
// Only events of the spam filter's class count. An exchange is verified when the send returned
// no error and:
// - for a score event, the reply carries a score the plug-in reads: a direct object that reads
//   as a 16-bit number, and no error number at all (the plug-in drops a reply with one, even 0,
//   and keeps its default verdict);
// - for a training event, the reply (if any) carries no error number other than 0.
// Anything else is a failed exchange, described for a person by Outcome::failure.
//
// One watch at a time: a second one replaces the first as the process's send observer. The
// callbacks may come from any thread.
class ExchangeWatch {
public:
  // Failed exchanges in a row after which a command stops sending (one that timed out stops it
  // at once): a stopped or hung Quellbark then costs about one timeout, not one per message.
  static constexpr std::size_t kFailuresBeforeStopping = 3;

  ExchangeWatch();  // installs itself as the process's send observer
  ~ExchangeWatch(); // removes it
  ExchangeWatch(const ExchangeWatch&) = delete;
  ExchangeWatch& operator=(const ExchangeWatch&) = delete;

  struct Outcome {
    bool verified = false; // at least one exchange since the last take(), the last succeeded
    std::string failure;   // when not verified: one line for a person, e.g.
                           // "Quellbark did not answer within 60 s (-1712)"
    bool timedOut = false; // the failed exchange ran out of time
  };
  // The outcome of the exchanges since the previous take(), then starts afresh.
  Outcome take();
  // Failed exchanges since the last one that succeeded.
  std::size_t consecutiveFailures() const;

  // From now on every send to the spam filter fails at once (no timeout is paid); `why` is the
  // failure those sends report.
  void refuseSends(std::string why);
  void allowSends();

private:
  struct Observer; // the send observer's callbacks

  mutable std::mutex mLock;
  bool mRefusing = false;
  std::string mRefusal;
  std::size_t mExchanges = 0; // since the last take()
  Outcome mLast;              // of the last exchange
  std::size_t mConsecutiveFailures = 0;
};

} // namespace mailhost
