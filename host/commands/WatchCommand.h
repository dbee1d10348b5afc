// `mailhost watch [ACCOUNT...]`: keeps IMAP accounts filtered as mail arrives and learns from
// the verdicts the user gives in any mail client, until SIGTERM or SIGINT.
#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <string>
#include <vector>

namespace mailhost {

class HostSession;

struct WatchOptions {
  std::vector<std::string> accounts; // user@host or imap://user@host[:port]; none: all
  int interval = 300;                // seconds between looks when nothing wakes the watch
  bool once = false;
};

CLI::App* addWatchCommand(CLI::App& app, WatchOptions& options);

// Exit status: 0 after SIGTERM (or one pass with --once), 1 when an account cannot be used
// (no such account, a refused login or certificate).
int runWatchCommand(HostSession& session, const WatchOptions& options, std::ostream& out,
                    std::ostream& err);

} // namespace mailhost
