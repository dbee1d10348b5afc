#include "commands/ClassifyCommand.h"

#include "ClassifyProgress.h"
#include "ClassifyRun.h"
#include "CommandOutput.h"
#include "JunkMailCommand.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <optional>
#include <ostream>
#include <unistd.h>

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

// Writes the --json document as the run goes: the messages batch by batch, the summary and
// the errors at the end, so that the output need not be held in memory.
class JsonReportWriter {
public:
  explicit JsonReportWriter(std::ostream& out) : mOut(out) { mOut << "{\n  \"messages\": ["; }

  void add(const ClassifyOutcome& m) {
    nlohmann::json entry = {
        {"uri", m.uri}, {"folder", m.folder}, {"verdict", verdictName(m.verdict)}};
    if (!m.error.empty())
      entry["error"] = m.error;
    mOut << (mFirst ? "\n    " : ",\n    ") << indented(entry, 4);
    mFirst = false;
  }

  void finish(const ClassifyReport& report) {
    nlohmann::json summary = {{"messages", report.messages},
                              {"junk", report.junk},
                              {"good", report.good},
                              {"unclassified", report.unclassified.size()}};
    mOut << (mFirst ? "]" : "\n  ]") << ",\n  \"summary\": " << indented(summary, 2)
         << ",\n  \"errors\": " << indented(report.errors, 2) << "\n}\n";
  }

private:
  static std::string indented(const nlohmann::json& value, std::size_t depth) {
    std::string text = value.dump(2);
    std::string result;
    for (char c : text) {
      result += c;
      if (c == '\n')
        result.append(depth, ' ');
    }
    return result;
  }

  std::ostream& mOut;
  bool mFirst = true;
};

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
        ClassifyProgress progress(stderr, STDOUT_FILENO);
        ClassifyRun run(plugin, mail, store);
        // Lines are flushed batch by batch and before the bar is drawn, not one by one. Output
        // that cannot be written ends the run after the batch (checkOutput throws).
        if (!options.json) {
          run.onResult([&](const ClassifyOutcome& outcome) {
            progress.makeRoomForOutput();
            out << verdictName(outcome.verdict) << "  " << outcome.uri << '\n';
          });
          run.onBatch([&](const std::vector<ClassifyOutcome>&) { checkOutput(out); });
        }
        std::optional<JsonReportWriter> json;
        if (options.json) {
          json.emplace(out);
          run.onBatch([&](const std::vector<ClassifyOutcome>& batch) {
            progress.makeRoomForOutput();
            for (const ClassifyOutcome& outcome : batch)
              json->add(outcome);
            checkOutput(out);
          });
        }
        run.onProgress([&](std::size_t done, std::size_t total) {
          if (progress.due(done, total)) {
            out.flush();
            progress.draw(done, total);
          }
        });

        std::vector<std::filesystem::path> paths(options.paths.begin(), options.paths.end());
        ClassifyReport report = run.run(paths);
        progress.clear();

        if (json) {
          json->finish(report);
        } else {
          for (const std::string& uri : report.unclassified)
            out << "unclassified  " << uri << "\n";
          out << report.messages << " messages: " << report.count(ClassifyOutcome::Verdict::Junk)
              << " junk, " << report.count(ClassifyOutcome::Verdict::Good) << " good, "
              << report.count(ClassifyOutcome::Verdict::Unclassified) << " not classified\n";
        }
        for (const std::string& error : report.errors)
          err << "mailhost: " << error << "\n";
        bool complete = report.errors.empty() && report.unclassified.empty();
        return complete ? 0 : 1;
      });
}

} // namespace mailhost
