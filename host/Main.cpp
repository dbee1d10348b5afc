// mailhost: a small mail host that loads junk-mail plug-in bundles as the real host does.
// Exit status: 0 done, 1 the command failed (one line on stderr says why), 2 bad usage.
#include "commands/AccountCommand.h"
#include "commands/ClassifyCommand.h"
#include "commands/ClassifyWorker.h"
#include "commands/CommandOutput.h"
#include "commands/FilterCommand.h"
#include "commands/InfoCommand.h"
#include "commands/ListCommand.h"
#include "commands/MarkCommand.h"
#include "commands/WatchCommand.h"
#include "nativehost/NativeHostCommand.h"
#include "plugin/PluginBundle.h"
#include "profile/ProfileDirectory.h"
#include "runtime/HostError.h"
#include "runtime/HostSession.h"
#include "runtime/SecondStart.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kBadUsage = 2;

// The first word of the command line that is neither an option nor an option's value: what the
// user meant as the command. Empty when there is none.
std::string commandWord(const CLI::App& app, int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::string word = argv[i];
    if (word == "--")
      return i + 1 < argc ? argv[i + 1] : "";
    if (!word.starts_with("-"))
      return word;
    const CLI::Option* option = app.get_option_no_throw(word);
    if (option && option->get_items_expected_min() > 0)
      ++i; // its value
  }
  return "";
}

// One line for a usage error: what is wrong and where to read how the command is used.
std::string usageProblem(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv) {
  std::string word = commandWord(app, argc, argv);
  std::string names;
  bool known = false;
  for (const CLI::App* command : app.get_subcommands({})) {
    known = known || command->get_name() == word;
    if (!command->get_group().empty()) // not the hidden worker command
      names += (names.empty() ? "" : ", ") + command->get_name();
  }
  if (!word.empty() && !known)
    return "unknown command \"" + word + "\"; see mailhost --help";
  auto chosen = app.get_subcommands();
  if (chosen.empty() && word.empty() && dynamic_cast<const CLI::RequiredError*>(&error))
    return "a command is required (" + names + "); see mailhost --help";

  std::string what = error.what();
  if (!what.empty() && what.back() == '\n')
    what.pop_back();
  if (!what.empty())
    what.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(what.front())));
  std::string help = "mailhost";
  if (!chosen.empty())
    help += " " + chosen.front()->get_name();
  return what + "; see " + help + " --help";
}

} // namespace

int main(int argc, char** argv) {
  mailhost::startAgainWithHostSettings(argc, argv);
  // Before any database is open: no page cache set up in bulk for each connection (about 87 KiB
  // for the verdict store and again for a large listing's table, both of which bound their
  // caches to a few pages); pages are allocated as they are used.
  sqlite3_config(SQLITE_CONFIG_PAGECACHE, nullptr, 0, 0);
  mailhost::DescriptorOutputBuffer outputBuffer(STDOUT_FILENO);
  std::ostream out(&outputBuffer);

  mailhost::HostOptions options{mailhost::defaultProfileDirectory(), mailhost::defaultPluginPath()};
  CLI::App app{"A mail host that loads junk-mail plug-in bundles.", "mailhost"};
  app.set_version_flag("--version", "mailhost " MAILHOST_VERSION, "Show the version and exit");
  app.add_option("--profile", options.profileDirectory,
                 "Profile folder holding prefs.js; created (mode 0700) when missing")
      ->capture_default_str();
  app.add_option("--plugin", options.pluginPath, "Plug-in bundle to load")->capture_default_str();
  app.require_subcommand(1);
  // The global options may also follow the command: the command hands what it does not know to
  // mailhost itself.
  app.fallthrough();
  CLI::App* info = mailhost::addInfoCommand(app);
  mailhost::ClassifyOptions classifyOptions;
  CLI::App* classify = mailhost::addClassifyCommand(app, classifyOptions);
  mailhost::ClassifyWorkerOptions workerOptions;
  CLI::App* classifyWorker = mailhost::addClassifyWorkerCommand(app, workerOptions);
  mailhost::MarkOptions markOptions;
  CLI::App* mark = mailhost::addMarkCommand(app, markOptions);
  mailhost::ListOptions listOptions;
  CLI::App* list = mailhost::addListCommand(app, listOptions);
  mailhost::FilterOptions filterOptions;
  CLI::App* filter = mailhost::addFilterCommand(app, filterOptions);
  std::vector<std::string> nativeHostArguments;
  CLI::App* nativeHost = mailhost::addNativeHostCommand(app, nativeHostArguments);
  mailhost::AccountOptions accountOptions;
  CLI::App* account = mailhost::addAccountCommand(app, accountOptions);
  mailhost::WatchOptions watchOptions;
  CLI::App* watch = mailhost::addWatchCommand(app, watchOptions);
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; }))
    command->footer("The global options (--profile, --plugin) may follow the command too.");

  int status = kBadUsage;
  try {
    app.parse(argc, argv);
    if (filter->parsed()) // its own session: any failure is a temporary one for mail delivery
      return mailhost::runFilterCommand(options, filterOptions, STDIN_FILENO, STDOUT_FILENO,
                                        std::cerr);
    if (nativeHost->parsed()) // answers even when the plug-in cannot be loaded
      return mailhost::runNativeHostCommand(options, std::cerr);
    if (list->parsed()) { // the stored statuses need neither the runtime nor the plug-in
      status = mailhost::runListCommand(options.profileDirectory, listOptions, out, std::cerr);
    } else {
      mailhost::HostSession session(options, std::cerr);
      if (info->parsed())
        status = mailhost::runInfoCommand(session, out);
      else if (classifyWorker->parsed())
        status = mailhost::runClassifyWorker(session, workerOptions, STDIN_FILENO, std::cerr);
      else if (classify->parsed())
        status = mailhost::runClassifyCommand(session, classifyOptions, out, std::cerr);
      else if (mark->parsed())
        status = mailhost::runMarkCommand(session, markOptions, out, std::cerr);
      else if (account->parsed())
        status = mailhost::runAccountCommand(session, accountOptions, std::cin, out, std::cerr);
      else if (watch->parsed())
        status = mailhost::runWatchCommand(session, watchOptions, out, std::cerr);
    }
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() != 0) {
      std::cerr << "mailhost: " << usageProblem(app, e, argc, argv) << "\n";
      return kBadUsage;
    }
    status = app.exit(e, out, std::cerr); // --help, --version
  } catch (const mailhost::OutputError& e) {
    std::cerr << "mailhost: " << e.what() << "\n";
    return 1;
  } catch (const mailhost::HostError& e) {
    std::cerr << "mailhost: " << e.what() << "\n";
    status = 1;
  }

  // Whatever was written must have reached the output.
  try {
    mailhost::checkOutput(out);
  } catch (const mailhost::OutputError& e) {
    std::cerr << "mailhost: " << e.what() << "\n";
    return 1;
  }
  return status;
}
