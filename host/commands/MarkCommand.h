// `mailhost mark junk|good TARGET...`: the user's verdict on messages (by URI, or every message
// of a folder or file), handed to the junk-mail plug-in for training and stored.
#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <string>
#include <vector>

namespace mailhost {

class HostSession;

struct MarkOptions {
  std::string verdict;
  std::vector<std::string> targets;
  std::string mailRoot = "/";
  bool json = false;
  bool again = false; // train even where the user's verdict is stored and learned already
};

CLI::App* addMarkCommand(CLI::App& app, MarkOptions& options);

// Exit status: 0 when every message was marked (or was marked so already); 3 when the spam filter
// did not learn a verdict (it is stored all the same, and a later mark sends it again), whatever
// else went wrong; 1 otherwise.
int runMarkCommand(HostSession& session, const MarkOptions& options, std::ostream& out,
                   std::ostream& err);

} // namespace mailhost
