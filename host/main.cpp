// mailhost: a small mail host that loads junk-mail plug-in bundles as the real host does.
// Exit status: 0 done, 1 the command failed (one line on stderr says why), 2 bad usage.
#include "commands/InfoCommand.h"
#include "plugin/PluginBundle.h"
#include "profile/ProfileDirectory.h"
#include "runtime/HostError.h"
#include "runtime/HostSession.h"

#include <CLI/CLI.hpp>
#include <iostream>

int main(int argc, char** argv) {
  mailhost::HostOptions options{mailhost::defaultProfileDirectory(), mailhost::defaultPluginPath()};
  CLI::App app{"A mail host that loads junk-mail plug-in bundles.", "mailhost"};
  app.add_option("--profile", options.profileDirectory,
                 "Profile folder holding prefs.js; created (mode 0700) when missing")
      ->capture_default_str();
  app.add_option("--plugin", options.pluginPath, "Plug-in bundle to load")->capture_default_str();
  app.require_subcommand(1);
  CLI::App* info = mailhost::addInfoCommand(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  }

  try {
    mailhost::HostSession session(options, std::cerr);
    if (info->parsed())
      return mailhost::runInfoCommand(session, std::cout);
  } catch (const mailhost::HostError& e) {
    std::cerr << "mailhost: " << e.what() << "\n";
    return 1;
  }
  return 2;
}
