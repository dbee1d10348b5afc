#include "commands/ListCommand.h"

#include "commands/CommandOutput.h"

#include "JunkMailCommand.h"
#include "JunkStore.h"
#include "MailError.h"
#include "MailStore.h"
#include "MarkRun.h"
#include "profile/ProfileDirectory.h"

#include <nlohmann/json.hpp>

#include <optional>
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

namespace {

// Writes each status as it is read, so that a store of any size is listed in little memory.
// The JSON form is the array `--json` has always written, built one entry at a time.
class StatusOutput {
public:
  StatusOutput(std::ostream& out, bool json) : mOut(out) {
    if (json)
      mJson.emplace(out);
  }

  void write(const JunkStatus& s) {
    if (!mJson) {
      mOut << s.score << (s.score < 100 ? "    " : "  ") << originName(s.origin)
           << (s.origin == JunkOrigin::User ? "    " : "  ") << s.uri
           << (s.trained ? "\n" : "  (not learned)\n");
      return;
    }
    nlohmann::json entry = {
        {"uri", s.uri}, {"score", s.score}, {"origin", originName(s.origin)}, {"time", s.time}};
    if (s.origin == JunkOrigin::User)
      entry["trained"] = s.trained;
    mJson->add(entry);
  }

  // Also after an error, so that what was listed is still a whole document.
  void finish() {
    if (mJson)
      mJson->finish();
  }

private:
  std::ostream& mOut;
  std::optional<JsonArrayWriter> mJson;
};

} // namespace

int runListCommand(const std::string& profileDirectory, const ListOptions& options,
                   std::ostream& out, std::ostream& err) {
  if (std::string problem = prepareProfileDirectory(profileDirectory); !problem.empty()) {
    err << "mailhost: " << problem << "\n";
    return 1;
  }
  int status = 0;
  StatusOutput output(out, options.json);
  try {
    JunkStore store(junkStorePath(profileDirectory));
    if (options.paths.empty()) {
      store.forEach([&](const JunkStatus& s) { output.write(s); });
    } else {
      MailStore mail{MailRoot(options.mailRoot)};
      for (const std::string& path : options.paths) {
        if (namesMessageUri(path)) {
          if (std::optional<JunkStatus> found = store.find(path))
            output.write(*found);
          continue;
        }
        // Named one at a time from the listing: a folder may hold tens of thousands.
        try {
          FolderListing listing = mail.list(path);
          for (std::size_t i = 0; i < listing.size(); ++i)
            if (std::optional<JunkStatus> found = store.find(listing.at(i).uri))
              output.write(*found);
        } catch (const MailError& error) {
          err << "mailhost: cannot read folder " << error.what() << "\n";
          status = 1;
        }
      }
    }
  } catch (const JunkStoreError& error) {
    output.finish();
    err << "mailhost: " << error.what() << "\n";
    return 1;
  }
  output.finish();
  return status;
}

} // namespace mailhost
