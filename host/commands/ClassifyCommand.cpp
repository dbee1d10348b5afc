#include "commands/ClassifyCommand.h"

#include "ClassifyProgress.h"
#include "ClassifyRun.h"
#include "JunkMailCommand.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <optional>
#include <ostream>

namespace mailhost {

namespace {

const char* verdictName(ClassifyOutcome::Verdict verdict) {
  switch (verdict) {
  case ClassifyOutcome::Verdict::Junk:
    return "junk";
  case ClassifyOutcome::Verdict::Good:
    return "good";
  case ClassifyOutcome::Verdict::Unverified:
    return "unverified";
  default:
    return "unclassified";
  }
}

bool hasVerdict(const ClassifyOutcome& outcome) {
  return outcome.verdict == ClassifyOutcome::Verdict::Junk ||
         outcome.verdict == ClassifyOutcome::Verdict::Good;
}

// Writes the --json document as the run goes: the messages batch by batch, the summary and
// the errors at the end, so that the output need not be held in memory.
class JsonReportWriter {
public:
  explicit JsonReportWriter(std::ostream& out) : mOut(out) { mOut << "{\n  \"messages\": ["; }

  void add(const ClassifyOutcome& m) {
    nlohmann::json entry = {
        {"uri", m.uri}, {"folder", m.folder}, {"verdict", verdictName(m.verdict)}};
    if (hasVerdict(m))
      entry["origin"] = originName(m.origin);
    if (!m.error.empty())
      entry["error"] = m.error;
    mOut << (mFirst ? "\n    " : ",\n    ") << indented(entry, 4);
    mFirst = false;
  }

  void finish(const ClassifyReport& report) {
    nlohmann::json summary = {{"messages", report.messages},
                              {"junk", report.junk},
                              {"good", report.good},
                              {"unverified", report.unverified},
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

// "1 message", "1,204 messages".
std::string messageCount(std::size_t count) {
  std::string digits = std::to_string(count);
  for (std::size_t at = digits.size(); at > 3; at -= 3)
    digits.insert(at - 3, ",");
  return digits + (count == 1 ? " message" : " messages");
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
  command->add_flag("--reclassify", options.reclassify,
                    "Also classify the messages you have marked, replacing your verdicts");
  return command;
}

int runClassifyCommand(HostSession& session, const ClassifyOptions& options, std::ostream& out,
                       std::ostream& err) {
  return runWithJunkMailPlugin(
      session, options.mailRoot,
      [&](nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store) {
        ClassifyProgress progress(stderr);
        ClassifyRun run(plugin, mail, store);
        run.reclassify(options.reclassify);
        // Lines are flushed batch by batch and before the bar is drawn, not one by one.
        if (!options.json) {
          run.onResult([&](const ClassifyOutcome& outcome) {
            progress.clear();
            out << verdictName(outcome.verdict) << "  " << outcome.uri
                << (outcome.origin == JunkOrigin::User ? "  (yours)\n" : "\n");
          });
          run.onBatch([&](const std::vector<ClassifyOutcome>&) { out.flush(); });
        }
        std::optional<JsonReportWriter> json;
        if (options.json) {
          json.emplace(out);
          run.onBatch([&](const std::vector<ClassifyOutcome>& batch) {
            progress.clear();
            for (const ClassifyOutcome& outcome : batch)
              json->add(outcome);
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
              << " junk, " << report.count(ClassifyOutcome::Verdict::Good) << " good, ";
          if (report.unverified)
            out << report.unverified << " not verified, ";
          out << report.count(ClassifyOutcome::Verdict::Unclassified) << " not classified\n";
        }
        for (const std::string& error : report.errors)
          err << "mailhost: " << error << "\n";
        if (report.unverified)
          err << "mailhost: " << messageCount(report.unverified)
              << " not verified: " << report.unverifiedWhy << "\n";
        if (report.stoppedUnclassified)
          err << "mailhost: " << messageCount(report.stoppedUnclassified)
              << " not classified, the run stopped: " << report.stopReason << "\n";
        if (report.exchangesFailed())
          return 3;
        bool complete = report.errors.empty() && report.unclassified.empty();
        return complete ? 0 : 1;
      });
}

} // namespace mailhost
