// `mailhost filter`: a delivery filter. Reads one message on standard input, has the junk-mail
// plug-in classify it, and writes it to standard output with an X-Quellbark-Status field added
// (or, with --exit-status, tells the verdict by its exit status alone), for procmail, maildrop,
// fetchmail's mda or a Sieve filter action. Nothing is written to disk and nothing is stored.
#pragma once

#include "runtime/HostSession.h"

#include <CLI/App.hpp>
#include <cstddef>
#include <iosfwd>

namespace mailhost {

struct FilterOptions {
  bool exitStatus = false;
};

// The largest message the filter takes: what one frame of the Apple Event transport carries.
inline constexpr std::size_t kMaxFilteredMessage = 256u * 1024 * 1024;

// Exit statuses. A delivery agent keeps a message it got EX_TEMPFAIL for and tries again later.
inline constexpr int kFilterPassed = 0;
inline constexpr int kFilterJunk = 0; // --exit-status
inline constexpr int kFilterGood = 1; // --exit-status
inline constexpr int kFilterTempFail = 75;

CLI::App* addFilterCommand(CLI::App& app, FilterOptions& options);

// Reads the message from descriptor `in`, writes to `out`, one line on `err` when it fails.
// Starts the host session itself, so that whatever fails, the plug-in bundle or the exchange
// with the spam filter included, ends in kFilterTempFail and never in a verdict.
int runFilterCommand(const HostOptions& host, const FilterOptions& options, int in, int out,
                     std::ostream& err);

} // namespace mailhost
