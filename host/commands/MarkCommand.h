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
  bool recursive = false;
};

CLI::App* addMarkCommand(CLI::App& app, MarkOptions& options);

// Exit status: 0 when every message was marked, 1 otherwise.
int runMarkCommand(HostSession& session, const MarkOptions& options, std::ostream& out,
                   std::ostream& err);

} // namespace mailhost
