// `mailhost classify PATH...`: has the junk-mail plug-in classify every message of the named
// folders (mbox files, Maildir folders, folders of message files) and message files, stores the
// verdicts and, when asked, moves Maildir junk into a junk folder.
#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <string>
#include <vector>

namespace mailhost {

class HostSession;

struct ClassifyOptions {
  std::vector<std::string> paths;
  std::string mailRoot = "/";
  bool json = false;
  bool reclassify = false; // also the messages the user has decided
  bool recursive = false;
  bool moveJunk = false;
  std::string junkFolder; // empty: the ".Junk" folder of each Maildir tree
  std::size_t jobs = 1;   // worker processes; 1: this process alone, as always
};

CLI::App* addClassifyCommand(CLI::App& app, ClassifyOptions& options);

// Exit status: 0 when every message was classified; 3 when a message is unverified or was left
// out because exchanges with the spam filter failed (whatever else went wrong); 1 otherwise.
int runClassifyCommand(HostSession& session, const ClassifyOptions& options, std::ostream& out,
                       std::ostream& err);

} // namespace mailhost
