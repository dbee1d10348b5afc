#include "commands/MarkCommand.h"

#include "commands/CommandOutput.h"

#include "JunkMailCommand.h"
#include "JunkMover.h"
#include "MailError.h"
#include "MarkRun.h"
#include "runtime/HostSession.h"

#include <nlohmann/json.hpp>

#include <optional>
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

// The file that holds a message, empty when it is none of this host's local files.
std::filesystem::path fileOf(const MailStore& store, const std::string& uri) {
  try {
    return store.locate(store.parseUri(uri)).file;
  } catch (const MailError&) {
    return {};
  }
}

std::optional<MessageRef> localMessage(const MailStore& store, const std::string& uri) {
  try {
    return store.parseUri(uri);
  } catch (const MailError&) {
    return std::nullopt;
  }
}

// Messages handed to the plug-in at a time.
constexpr std::size_t kMarkChunk = 1000;

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
  command->add_flag("--recursive,-r", options.recursive,
                    "Also mark the messages of the Maildir++ subfolders of each Maildir");
  return command;
}

int runMarkCommand(HostSession& session, const MarkOptions& options, std::ostream& out,
                   std::ostream& err) {
  return runWithJunkMailPlugin(
      session, options.mailRoot,
      [&](nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store) {
        bool ok = true;
        bool notLearned = false;
        nsMsgJunkStatus verdict = options.verdict == "junk" ? kJunk : kGood;
        MarkRun run(plugin, mail, store);
        run.again(options.again);
        // A message marked good in a junk folder goes back where it came from, once its new
        // verdict is stored.
        JunkMoveLog moveLog(junkStorePath(session.options().profileDirectory));
        JunkMover mover(mail.store(), moveLog);
        std::optional<JsonArrayWriter> json;
        if (options.json)
          json.emplace(out);

        auto report = [&](const MarkOutcome& outcome) {
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
          std::filesystem::path path = fileOf(mail.store(), outcome.uri);
          std::optional<MovedMessage> moved;
          if (verdict == kGood && outcome.accepted && outcome.error.empty()) {
            try {
              if (std::optional<MessageRef> message = localMessage(mail.store(), outcome.uri))
                moved = mover.moveBack(*message);
            } catch (const std::exception& error) {
              err << "mailhost: cannot move " << outcome.uri
                  << " back from the junk folder: " << error.what() << "\n";
              ok = false;
            }
          }
          if (json) {
            nlohmann::json entry = {
                {"uri", outcome.uri},         {"path", path.string()},
                {"verdict", options.verdict}, {"previous", classificationName(outcome.previous)},
                {"stored", outcome.accepted}, {"confirmed", outcome.confirmed}};
            if (outcome.alreadyMarked)
              entry["already_marked"] = true;
            if (outcome.accepted)
              entry["trained"] = outcome.trained;
            if (moved) {
              entry["moved_to"] = moved->file.string();
              entry["moved_to_uri"] = moved->uri;
            }
            if (!outcome.error.empty())
              entry["error"] = outcome.error;
            else if (failedTraining)
              entry["error"] = outcome.trainingFailure;
            json->add(entry);
          } else if (outcome.alreadyMarked) {
            out << outputLine({options.verdict, outcome.uri, path.string(), "(already marked)"})
                << "\n";
          } else if (outcome.accepted) {
            // A fourth field is where the message went (a path), or a note in parentheses.
            std::string note = moved ? moved->file.string() : failedTraining ? "(not learned)" : "";
            out << (note.empty() ? outputLine({options.verdict, outcome.uri, path.string()})
                                 : outputLine({options.verdict, outcome.uri, path.string(), note}))
                << "\n";
          }
        };

        // The messages go to the plug-in a chunk at a time, each chunk's lines written once it
        // is done: what is held does not grow with the folders, and a long run shows progress.
        std::vector<std::string> chunk;
        auto markChunk = [&] {
          for (const MarkOutcome& outcome : run.run(chunk, verdict))
            report(outcome);
          chunk.clear();
          out.flush();
        };
        auto add = [&](std::string uri) {
          chunk.push_back(std::move(uri));
          if (chunk.size() == kMarkChunk)
            markChunk();
        };
        for (const std::filesystem::path& folder :
             foldersToWalk(options.targets, options.recursive)) {
          const std::string& target = folder.string();
          if (namesMessageUri(target)) {
            add(target);
            continue;
          }
          std::optional<FolderListing> listing;
          try {
            listing = mail.store().list(target);
          } catch (const MailError& error) {
            err << "mailhost: cannot read folder " << error.what() << "\n";
            ok = false;
            continue;
          }
          for (std::size_t i = 0; i < listing->size(); ++i) {
            std::string uri;
            try {
              uri = listing->at(i).uri; // a large listing is read back from its table
            } catch (const MailError& error) {
              err << "mailhost: cannot read folder " << error.what() << "\n";
              ok = false;
              break;
            }
            add(std::move(uri));
          }
        }
        if (!chunk.empty())
          markChunk();
        for (const std::string& failure : mover.sync()) {
          err << "mailhost: " << failure << "\n";
          ok = false;
        }
        if (json)
          json->finish();
        if (notLearned)
          return 3;
        return ok ? 0 : 1;
      });
}

} // namespace mailhost
