#include "commands/MarkCommand.h"

#include "JunkMailCommand.h"
#include "MailError.h"
#include "MarkRun.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace mailhost {

namespace {

const char* classificationName(std::uint32_t classification) {
  switch (classification) {
  case kJunk:
    return "junk";
  case kGood:
    return "good";
  default:
    return "unclassified";
  }
}

} // namespace

CLI::App* addMarkCommand(CLI::App& app, MarkOptions& options) {
  CLI::App* command = app.add_subcommand(
      "mark", "Give the junk-mail plug-in the user's verdict on messages and store it");
  command->add_option("verdict", options.verdict, "junk or good")
      ->required()
      ->check(CLI::IsMember({"junk", "good"}));
  command
      ->add_option("targets", options.targets,
                   "Message URIs, or folders and message files (every message in them)")
      ->required();
  command->add_option("--mail-root", options.mailRoot, "Folder under which folder URIs are named")
      ->capture_default_str();
  command->add_flag("--json", options.json, "Write the results as one JSON document");
  return command;
}

int runMarkCommand(HostSession& session, const MarkOptions& options, std::ostream& out,
                   std::ostream& err) {
  return runWithJunkMailPlugin(
      session, options.mailRoot,
      [&](nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store) {
        bool ok = true;
        std::vector<std::string> uris;
        for (const std::string& target : options.targets) {
          try {
            std::vector<std::string> found = messageUrisOf(mail.store(), target);
            uris.insert(uris.end(), found.begin(), found.end());
          } catch (const MailError& error) {
            err << "mailhost: cannot read folder " << error.what() << "\n";
            ok = false;
          }
        }
        nsMsgJunkStatus verdict = options.verdict == "junk" ? kJunk : kGood;
        MarkRun run(plugin, mail, store);
        std::vector<MarkOutcome> outcomes = run.run(uris, verdict);

        nlohmann::json json = nlohmann::json::array();
        for (const MarkOutcome& outcome : outcomes) {
          ok = ok && outcome.accepted && outcome.error.empty();
          if (!outcome.error.empty())
            err << "mailhost: cannot mark " << outcome.uri << ": " << outcome.error << "\n";
          else if (outcome.accepted && !outcome.confirmed)
            err << "mailhost: the plug-in did not confirm the verdict on " << outcome.uri << "\n";
          if (options.json) {
            nlohmann::json entry = {{"uri", outcome.uri},
                                    {"verdict", options.verdict},
                                    {"previous", classificationName(outcome.previous)},
                                    {"stored", outcome.accepted},
                                    {"confirmed", outcome.confirmed}};
            if (!outcome.error.empty())
              entry["error"] = outcome.error;
            json.push_back(entry);
          } else if (outcome.accepted) {
            out << options.verdict << "  " << outcome.uri << "\n";
          }
        }
        if (options.json)
          out << json.dump(2) << "\n";
        return ok ? 0 : 1;
      });
}

} // namespace mailhost
