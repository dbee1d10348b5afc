// mailhost: a small mail host that loads junk-mail plug-in bundles as the real host does.
// Exit status: 0 done, 1 the command failed (one line on stderr says why), 2 bad usage.
#include "commands/AccountCommand.h"
#include "commands/ClassifyCommand.h"
#include "commands/InfoCommand.h"
#include "commands/ListCommand.h"
#include "commands/MarkCommand.h"
#include "commands/WatchCommand.h"
#include "plugin/PluginBundle.h"
#include "profile/ProfileDirectory.h"
#include "runtime/HostError.h"
#include "runtime/HostSession.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace {

// GLib's slice allocator keeps for the rest of a run the most memory one message ever needed (a
// message with hundreds of header fields leaves hundreds of KiB behind); plain malloc gives it
// back. GLib reads G_SLICE while the libraries are loaded, before main, so the host starts
// itself again with it set (and goes on as it is if that fails).
void allocateSlicesWithMalloc(char** argv) {
  if (std::getenv("G_SLICE") || ::setenv("G_SLICE", "always-malloc", 0) != 0)
    return;
  ::execv("/proc/self/exe", argv);
}

} // namespace

int main(int argc, char** argv) {
  allocateSlicesWithMalloc(argv);
  mailhost::HostOptions options{mailhost::defaultProfileDirectory(), mailhost::defaultPluginPath()};
  CLI::App app{"A mail host that loads junk-mail plug-in bundles.", "mailhost"};
  app.add_option("--profile", options.profileDirectory,
                 "Profile folder holding prefs.js; created (mode 0700) when missing")
      ->capture_default_str();
  app.add_option("--plugin", options.pluginPath, "Plug-in bundle to load")->capture_default_str();
  app.require_subcommand(1);
  CLI::App* info = mailhost::addInfoCommand(app);
  mailhost::ClassifyOptions classifyOptions;
  CLI::App* classify = mailhost::addClassifyCommand(app, classifyOptions);
  mailhost::MarkOptions markOptions;
  CLI::App* mark = mailhost::addMarkCommand(app, markOptions);
  mailhost::ListOptions listOptions;
  CLI::App* list = mailhost::addListCommand(app, listOptions);
  mailhost::AccountOptions accountOptions;
  CLI::App* account = mailhost::addAccountCommand(app, accountOptions);
  mailhost::WatchOptions watchOptions;
  CLI::App* watch = mailhost::addWatchCommand(app, watchOptions);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  }

  if (list->parsed()) // the stored statuses need neither the runtime nor the plug-in
    return mailhost::runListCommand(options.profileDirectory, listOptions, std::cout, std::cerr);
  try {
    mailhost::HostSession session(options, std::cerr);
    if (info->parsed())
      return mailhost::runInfoCommand(session, std::cout);
    if (classify->parsed())
      return mailhost::runClassifyCommand(session, classifyOptions, std::cout, std::cerr);
    if (mark->parsed())
      return mailhost::runMarkCommand(session, markOptions, std::cout, std::cerr);
    if (account->parsed())
      return mailhost::runAccountCommand(session, accountOptions, std::cin, std::cout, std::cerr);
    if (watch->parsed())
      return mailhost::runWatchCommand(session, watchOptions, std::cout, std::cerr);
  } catch (const mailhost::HostError& e) {
    std::cerr << "mailhost: " << e.what() << "\n";
    return 1;
  }
  return 2;
}
