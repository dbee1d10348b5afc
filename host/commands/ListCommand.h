// `mailhost list [PATH...]`: the junk statuses stored in the profile, all of them or those of
// the messages in the named folders and files. Needs neither the runtime nor the plug-in.
#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <string>
#include <vector>

namespace mailhost {

struct ListOptions {
  std::vector<std::string> paths;
  std::string mailRoot = "/";
  bool json = false;
};

CLI::App* addListCommand(CLI::App& app, ListOptions& options);

// Exit status: 0, or 1 when the store or a folder cannot be read.
int runListCommand(const std::string& profileDirectory, const ListOptions& options,
                   std::ostream& out, std::ostream& err);

} // namespace mailhost
