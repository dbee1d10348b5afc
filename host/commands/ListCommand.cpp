#include "commands/ListCommand.h"

#include "JunkMailCommand.h"
#include "JunkStore.h"
#include "MailError.h"
#include "MailStore.h"
#include "MarkRun.h"
#include "profile/ProfileDirectory.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace mailhost {

CLI::App* addListCommand(CLI::App& app, ListOptions& options) {
  CLI::App* command =
      app.add_subcommand("list", "Show the stored junk statuses (uri, score, origin)");
  command->add_option("paths", options.paths, "Only the messages of these folders and files");
  command->add_option("--mail-root", options.mailRoot, "Folder under which folder URIs are named")
      ->capture_default_str();
  command->add_flag("--json", options.json, "Write the statuses as one JSON document");
  return command;
}

int runListCommand(const std::string& profileDirectory, const ListOptions& options,
                   std::ostream& out, std::ostream& err) {
  if (std::string problem = prepareProfileDirectory(profileDirectory); !problem.empty()) {
    err << "mailhost: " << problem << "\n";
    return 1;
  }
  int status = 0;
  std::vector<JunkStatus> statuses;
  try {
    JunkStore store(junkStorePath(profileDirectory));
    if (options.paths.empty()) {
      statuses = store.all();
    } else {
      MailStore mail{MailRoot(options.mailRoot)};
      for (const std::string& path : options.paths) {
        try {
          for (const std::string& uri : messageUrisOf(mail, path))
            if (std::optional<JunkStatus> found = store.find(uri))
              statuses.push_back(*found);
        } catch (const MailError& error) {
          err << "mailhost: cannot read folder " << error.what() << "\n";
          status = 1;
        }
      }
    }
  } catch (const JunkStoreError& error) {
    err << "mailhost: " << error.what() << "\n";
    return 1;
  }

  if (options.json) {
    nlohmann::json json = nlohmann::json::array();
    for (const JunkStatus& s : statuses) {
      nlohmann::json entry = {
          {"uri", s.uri}, {"score", s.score}, {"origin", originName(s.origin)}, {"time", s.time}};
      if (s.origin == JunkOrigin::User)
        entry["trained"] = s.trained;
      json.push_back(entry);
    }
    out << json.dump(2) << "\n";
  } else {
    for (const JunkStatus& s : statuses)
      out << s.score << (s.score < 100 ? "    " : "  ") << originName(s.origin)
          << (s.origin == JunkOrigin::User ? "    " : "  ") << s.uri
          << (s.trained ? "\n" : "  (not learned)\n");
  }
  return status;
}

} // namespace mailhost
