#include "commands/WatchCommand.h"

#include "ImapUri.h"
#include "ImapWatch.h"
#include "JunkMailCommand.h"
#include "runtime/HostSession.h"

#include <nsCOMPtr.h>
#include <nsIPrefBranch.h>
#include <nsServiceManagerUtils.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <ostream>
#include <poll.h>
#include <unistd.h>

namespace mailhost {

namespace {

// SIGTERM and SIGINT wake the watch through a pipe, wherever it waits.
int gWakeWrite = -1;
volatile std::sig_atomic_t gStop = 0;

void onStopSignal(int) {
  gStop = 1;
  if (gWakeWrite >= 0) {
    char byte = 0;
    [[maybe_unused]] ssize_t ignored = ::write(gWakeWrite, &byte, 1);
  }
}

class StopSignals {
public:
  StopSignals() {
    if (::pipe2(mPipe, O_CLOEXEC | O_NONBLOCK) != 0)
      mPipe[0] = mPipe[1] = -1;
    gWakeWrite = mPipe[1];
    gStop = 0;
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGTERM, &action, &mTerm);
    ::sigaction(SIGINT, &action, &mInt);
  }
  ~StopSignals() {
    ::sigaction(SIGTERM, &mTerm, nullptr);
    ::sigaction(SIGINT, &mInt, nullptr);
    gWakeWrite = -1;
    for (int fd : mPipe)
      if (fd >= 0)
        ::close(fd);
  }
  int wakeFd() const { return mPipe[0]; }
  bool stopped() const { return gStop != 0; }
  // Waits for the time or a stop signal.
  void sleep(std::chrono::seconds time) const {
    pollfd wake{mPipe[0], POLLIN, 0};
    if (!stopped())
      ::poll(&wake, 1, static_cast<int>(time.count() * 1000));
  }

private:
  int mPipe[2] = {-1, -1};
  struct sigaction mTerm {};
  struct sigaction mInt {};
};

std::vector<ImapAccount> accountsToWatch(const WatchOptions& options, ImapSessions& sessions) {
  nsCOMPtr<nsIPrefBranch> prefs = do_GetService("@mozilla.org/preferences-service;1");
  if (!prefs)
    throw ImapError(ImapErrorKind::Account, "no preferences service");
  if (options.accounts.empty()) {
    std::vector<ImapAccount> all = readImapAccounts(prefs);
    if (all.empty())
      throw ImapError(ImapErrorKind::Account, "the profile has no IMAP account (add one with "
                                              "`mailhost account add imap://user@host`)");
    return all;
  }
  std::vector<ImapAccount> chosen;
  for (const std::string& name : options.accounts) {
    ImapFolderRef ref = parseImapFolderUrl(isImapFolderUrl(name) ? name : "imap://" + name);
    chosen.push_back(sessions.account(ref.user, ref.host, ref.port));
  }
  return chosen;
}

} // namespace

CLI::App* addWatchCommand(CLI::App& app, WatchOptions& options) {
  CLI::App* command = app.add_subcommand(
      "watch", "Filter IMAP accounts as mail arrives and learn from the user's verdicts in any "
               "mail client, until SIGTERM");
  command->add_option("accounts", options.accounts,
                      "Accounts (user@host or imap://user@host[:port]); all when none named");
  command
      ->add_option("--interval", options.interval,
                   "Seconds between looks when the server tells nothing sooner")
      ->check(CLI::Range(1, 1740))
      ->capture_default_str();
  command->add_flag("--once", options.once, "Look once and end");
  return command;
}

int runWatchCommand(HostSession& session, const WatchOptions& options, std::ostream& out,
                    std::ostream& err) {
  StopSignals signals;
  return runWithJunkMailPlugin(
      session, "/", [&](nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store) {
        WatchState state(session.options().profileDirectory + "/" + WatchState::kFileName);
        std::vector<ImapWatch> watches;
        try {
          for (ImapAccount& account : accountsToWatch(options, mail.imap()))
            watches.emplace_back(plugin, mail, store, state, std::move(account), out, err);
        } catch (const std::runtime_error& error) { // ImapError, MailError
          err << "mailhost: " << error.what() << "\n";
          return 1;
        }
        std::vector<bool> lost(watches.size(), false);
        std::vector<bool> announced(watches.size(), false);
        std::chrono::seconds backoff(1);
        const std::chrono::seconds interval(options.interval);
        while (!signals.stopped()) {
          for (std::size_t i = 0; i < watches.size() && !signals.stopped(); ++i) {
            try {
              watches[i].pass();
              if (!announced[i]) {
                out << "watching " << watches[i].account().name() << std::endl;
                announced[i] = true;
              }
              if (lost[i])
                err << "mailhost: connected to " << watches[i].account().name() << " again\n";
              lost[i] = false;
            } catch (const ImapError& error) {
              // A stop signal cuts short what the connection was reading: that is no outage.
              if (signals.stopped())
                break;
              if (!error.transient()) {
                err << "mailhost: " << error.what() << "\n";
                return 1;
              }
              if (!lost[i]) // once per outage, however long it lasts
                err << "mailhost: " << error.what() << "; trying again\n";
              lost[i] = true;
              mail.imap().drop(watches[i].account());
            }
          }
          err.flush();
          if (options.once || signals.stopped())
            break;
          if (std::find(lost.begin(), lost.end(), true) != lost.end()) {
            signals.sleep(backoff);
            backoff = std::min(backoff * 2, std::chrono::seconds(60));
            continue;
          }
          backoff = std::chrono::seconds(1);
          // One account waits on the server (IDLE); several are looked at in turn.
          if (watches.size() != 1) {
            signals.sleep(std::min(interval, std::chrono::seconds(60)));
            continue;
          }
          try {
            watches[0].wait(interval, signals.wakeFd());
          } catch (const ImapError& error) {
            if (signals.stopped())
              break;
            if (!error.transient()) {
              err << "mailhost: " << error.what() << "\n";
              return 1;
            }
            err << "mailhost: " << error.what() << "; trying again\n";
            lost[0] = true;
            mail.imap().drop(watches[0].account());
          }
        }
        return 0;
      });
}

} // namespace mailhost
