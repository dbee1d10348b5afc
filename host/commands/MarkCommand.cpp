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
  command->add_flag("--again", options.again,
                    "Train the spam filter even on messages already marked so");
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
        run.again(options.again);
        std::vector<MarkOutcome> outcomes = run.run(uris, verdict);

        bool notLearned = false;
        nlohmann::json json = nlohmann::json::array();
        for (const MarkOutcome& outcome : outcomes) {
          bool failedTraining = outcome.confirmed && !outcome.trained && outcome.error.empty();
          ok = ok && (outcome.accepted || outcome.alreadyMarked) && outcome.error.empty();
          notLearned = notLearned || failedTraining;
          if (!outcome.error.empty())
            err << "mailhost: cannot mark " << outcome.uri << ": " << outcome.error << "\n";
          else if (outcome.accepted && !outcome.confirmed)
            err << "mailhost: the plug-in did not confirm the verdict on " << outcome.uri << "\n";
          else if (failedTraining)
            err << "mailhost: Quellbark did not learn the verdict on " << outcome.uri << ": "
                << outcome.trainingFailure << "\n";
          if (options.json) {
            nlohmann::json entry = {{"uri", outcome.uri},
                                    {"verdict", options.verdict},
                                    {"previous", classificationName(outcome.previous)},
                                    {"stored", outcome.accepted},
                                    {"confirmed", outcome.confirmed}};
            if (outcome.alreadyMarked)
              entry["alreadyMarked"] = true;
            if (outcome.accepted)
              entry["trained"] = outcome.trained;
            if (!outcome.error.empty())
              entry["error"] = outcome.error;
            else if (failedTraining)
              entry["error"] = outcome.trainingFailure;
            json.push_back(entry);
          } else if (outcome.alreadyMarked) {
            out << options.verdict << "  " << outcome.uri << "  (already marked)\n";
          } else if (outcome.accepted) {
            out << options.verdict << "  " << outcome.uri
                << (failedTraining ? "  (not learned)\n" : "\n");
          }
        }
        if (options.json)
          out << json.dump(2) << "\n";
        if (notLearned)
          return 3;
        return ok ? 0 : 1;
      });
}

} // namespace mailhost
