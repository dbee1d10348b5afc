#include "commands/ClassifyCommand.h"

#include "ClassifyProgress.h"
#include "ClassifyRun.h"
#include "JunkMailCommand.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <ostream>

namespace mailhost {

namespace {

const char* verdictName(ClassifyOutcome::Verdict verdict) {
  switch (verdict) {
  case ClassifyOutcome::Verdict::Junk:
    return "junk";
  case ClassifyOutcome::Verdict::Good:
    return "good";
  default:
    return "unclassified";
  }
}

nlohmann::json toJson(const ClassifyReport& report) {
  nlohmann::json messages = nlohmann::json::array();
  for (const ClassifyOutcome& m : report.messages) {
    nlohmann::json entry = {
        {"uri", m.uri}, {"folder", m.folder}, {"verdict", verdictName(m.verdict)}};
    if (!m.error.empty())
      entry["error"] = m.error;
    messages.push_back(entry);
  }
  return {{"messages", messages},
          {"summary",
           {{"messages", report.messages.size()},
            {"junk", report.count(ClassifyOutcome::Verdict::Junk)},
            {"good", report.count(ClassifyOutcome::Verdict::Good)},
            {"unclassified", report.count(ClassifyOutcome::Verdict::Unclassified)}}},
          {"errors", report.errors}};
}

} // namespace

CLI::App* addClassifyCommand(CLI::App& app, ClassifyOptions& options) {
  CLI::App* command = app.add_subcommand(
      "classify", "Have the junk-mail plug-in classify the messages of mail folders (mbox files, "
                  "Maildir folders) and message files, and store the verdicts");
  command->add_option("paths", options.paths, "Folders and message files")->required();
  command->add_option("--mail-root", options.mailRoot, "Folder under which folder URIs are named")
      ->capture_default_str();
  command->add_flag("--json", options.json, "Write the results as one JSON document");
  return command;
}

int runClassifyCommand(HostSession& session, const ClassifyOptions& options, std::ostream& out,
                       std::ostream& err) {
  return runWithJunkMailPlugin(
      session, options.mailRoot,
      [&](nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store) {
        ClassifyProgress progress(stderr);
        ClassifyRun run(plugin, mail, store);
        if (!options.json)
          run.onResult([&](const ClassifyOutcome& outcome) {
            progress.clear();
            out << verdictName(outcome.verdict) << "  " << outcome.uri << std::endl;
          });
        run.onProgress([&](std::size_t done, std::size_t total) { progress.draw(done, total); });

        std::vector<std::filesystem::path> paths(options.paths.begin(), options.paths.end());
        ClassifyReport report = run.run(paths);
        progress.clear();

        if (options.json) {
          out << toJson(report).dump(2) << "\n";
        } else {
          for (const ClassifyOutcome& m : report.messages)
            if (m.verdict == ClassifyOutcome::Verdict::Unclassified)
              out << "unclassified  " << m.uri << "\n";
          out << report.messages.size()
              << " messages: " << report.count(ClassifyOutcome::Verdict::Junk) << " junk, "
              << report.count(ClassifyOutcome::Verdict::Good) << " good, "
              << report.count(ClassifyOutcome::Verdict::Unclassified) << " not classified\n";
        }
        for (const std::string& error : report.errors)
          err << "mailhost: " << error << "\n";
        bool complete =
            report.errors.empty() && report.count(ClassifyOutcome::Verdict::Unclassified) == 0;
        return complete ? 0 : 1;
      });
}

} // namespace mailhost
