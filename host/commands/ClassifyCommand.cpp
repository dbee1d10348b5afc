#include "commands/ClassifyCommand.h"

#include "ClassifyProgress.h"
#include "ClassifyRun.h"
#include "ClassifyWorker.h"
#include "ClassifyWorkers.h"
#include "CommandOutput.h"
#include "ImapUri.h"
#include "JunkMailCommand.h"
#include "JunkMover.h"
#include "MailError.h"
#include "Maildir.h"
#include "MaildirTree.h"
#include "runtime/CpuPin.h"
#include "runtime/HostSession.h"

#include <CLI/Formatter.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <optional>
#include <ostream>
#include <sys/stat.h>
#include <unistd.h>

namespace mailhost {

namespace {

bool hasVerdict(const ClassifyOutcome& outcome) {
  return outcome.verdict == ClassifyOutcome::Verdict::Junk ||
         outcome.verdict == ClassifyOutcome::Verdict::Good;
}

// Writes the --json document as the run goes: the messages batch by batch, the summary and
// the errors at the end, so that the output need not be held in memory.
class JsonReportWriter {
public:
  explicit JsonReportWriter(std::ostream& out) : mOut(out) { mOut << "{\n  \"messages\": ["; }

  // Laid out as indented() lays out an object four deep, keys sorted as dump() sorts them, but
  // written field by field: building and dumping an object per message cost more than the rest
  // of the report.
  void add(const ClassifyOutcome& m) {
    std::string& text = mEntry;
    text.assign(mFirst ? "\n    {" : ",\n    {");
    bool firstField = true;
    auto field = [&](std::string_view key, std::string_view value) {
      text.append(firstField ? "\n      \"" : ",\n      \"").append(key).append("\": ");
      appendJsonString(text, value);
      firstField = false;
    };
    if (!m.error.empty())
      field("error", m.error);
    field("folder", m.folder);
    if (!m.movedTo.empty()) {
      field("moved_to", m.movedTo.string());
      field("moved_to_uri", m.movedToUri);
    }
    if (hasVerdict(m))
      field("origin", originName(m.origin));
    field("path", m.path);
    field("uri", m.uri);
    field("verdict", verdictWord(m.verdict));
    text.append("\n    }");
    mOut << text;
    mFirst = false;
  }

  void finish(const ClassifyReport& report) {
    nlohmann::json summary = {{"messages", report.messages},
                              {"junk", report.junk},
                              {"good", report.good},
                              {"unverified", report.unverified},
                              {"unclassified", report.unclassified}};
    mOut << (mFirst ? "]" : "\n  ]") << ",\n  \"summary\": " << indented(summary, 2)
         << ",\n  \"errors\": " << indented(report.errors, 2) << "\n}\n";
  }

private:
  static std::string indented(const nlohmann::json& value, std::size_t depth) {
    // A path need not be UTF-8; JSON text must be.
    std::string text = value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
    std::string result;
    result.reserve(text.size() + text.size() / 8);
    for (std::size_t from = 0; from < text.size();) {
      std::size_t end = std::min(text.find('\n', from), text.size());
      result.append(text, from, end - from);
      if (end < text.size())
        result.append(1, '\n').append(depth, ' ');
      from = end + 1;
    }
    return result;
  }

  // Printable ASCII other than a quote or a backslash stands for itself; anything else is left
  // to the library (escapes, and a path that is not UTF-8).
  static void appendJsonString(std::string& text, std::string_view value) {
    bool plain = std::all_of(value.begin(), value.end(), [](char c) {
      return c >= 0x20 && c <= 0x7e && c != '"' && c != '\\';
    });
    if (!plain) {
      text.append(
          nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
      return;
    }
    text.append(1, '"').append(value).append(1, '"');
  }

  std::ostream& mOut;
  bool mFirst = true;
  std::string mEntry; // kept from message to message
};

// "1 message", "1,204 messages".
std::string messageCount(std::size_t count) {
  std::string digits = std::to_string(count);
  for (std::size_t at = digits.size(); at > 3; at -= 3)
    digits.insert(at - 3, ",");
  return digits + (count == 1 ? " message" : " messages");
}

// Junk is moved only out of Maildir folders: an mbox would have to be rewritten, and its mail is
// better filtered as it is delivered. Returns why a path cannot take part, or nothing.
std::optional<std::string> refusalToMoveJunk(const std::filesystem::path& path) {
  std::error_code ec;
  std::filesystem::file_status status = std::filesystem::status(path, ec);
  if (status.type() == std::filesystem::file_type::directory) {
    if (isMaildir(path))
      return std::nullopt;
    return path.string() + " is a folder of message files, not a Maildir";
  }
  std::filesystem::path sub = path.parent_path().filename();
  if ((sub == "cur" || sub == "new") && isMaildir(path.parent_path().parent_path()))
    return std::nullopt;
  if (status.type() != std::filesystem::file_type::regular)
    return std::nullopt; // reported when the folder is listed
  return path.string() + " is not a Maildir folder (mbox mail is best filtered at delivery)";
}

dev_t deviceOf(const std::filesystem::path& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? info.st_dev : 0;
}

// Checked before anything is classified. An explicit junk folder is made when missing.
std::optional<std::string> refusalToMoveJunk(const std::vector<std::filesystem::path>& paths,
                                             const ClassifyOptions& options,
                                             const MailStore& store) {
  for (const std::filesystem::path& path : paths)
    if (std::optional<std::string> why = refusalToMoveJunk(path))
      return why;
  if (options.junkFolder.empty())
    return std::nullopt;
  store.root().uriPathFor(options.junkFolder); // throws for a folder outside the mail root
  if (!isMaildir(options.junkFolder))
    makeMaildir(options.junkFolder);
  for (const std::filesystem::path& path : paths)
    if (deviceOf(path) != deviceOf(options.junkFolder))
      return options.junkFolder + " is on another file system than " + path.string() +
             " (messages are moved by rename, never copied)";
  return std::nullopt;
}

// Where each junk message of a batch goes once its verdict is stored; what cannot be moved
// stays where it is, reported.
void moveJunkOf(std::vector<ClassifyOutcome>& batch, ClassifyReport& report, JunkMover& mover,
                const MailStore& store) {
  for (ClassifyOutcome& outcome : batch) {
    // The user's own verdicts stay where the user keeps them.
    if (outcome.verdict != ClassifyOutcome::Verdict::Junk || outcome.origin == JunkOrigin::User ||
        !outcome.error.empty())
      continue;
    try {
      if (std::optional<MovedMessage> moved = mover.moveToJunk(store.parseUri(outcome.uri))) {
        outcome.movedTo = moved->file;
        outcome.movedToUri = moved->uri;
      }
    } catch (const std::exception& error) {
      report.errors.push_back("cannot move " + outcome.uri +
                              " to the junk folder: " + error.what());
    }
  }
  for (const std::string& failure : mover.sync())
    report.errors.push_back(failure);
}

// Shows a flag that takes an optional value (its type name "[=VALUE]") as one word,
// "--move-junk[=FOLDER]", as it is typed, rather than CLI11's "--move-junk{} [=FOLDER]".
class OptionalValueFormatter : public CLI::Formatter {
public:
  std::string make_option_name(const CLI::Option* option, bool positional) const override {
    std::string name = CLI::Formatter::make_option_name(option, positional);
    if (!takesOptionalValue(option))
      return name;
    for (std::size_t braces; (braces = name.find("{}")) != std::string::npos;)
      name.erase(braces, 2);
    return name + option->get_type_name();
  }

  std::string make_option_opts(const CLI::Option* option) const override {
    return takesOptionalValue(option) ? std::string() : CLI::Formatter::make_option_opts(option);
  }

private:
  static bool takesOptionalValue(const CLI::Option* option) {
    return option->get_type_name().starts_with("[=");
  }
};

// "auto" or 0: one worker per CPU this process may use. Each worker's exchange is one chain (the
// worker, Quellbark's thread for its connection, that thread's bogofilter) of which only one part
// runs at a time, so one chain per CPU keeps the CPUs busy; more only add switches between them.
std::size_t jobsFromText(const std::string& text) {
  std::size_t jobs = 0;
  if (text != "auto") {
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), jobs);
    if (error != std::errc() || end != text.data() + text.size() || jobs > 1024)
      throw CLI::ValidationError("--jobs",
                                 "\"" + text + "\" is not a number of jobs (0-1024 or auto)");
  }
  if (jobs == 0)
    jobs = cpusOfThisProcess().size();
  return jobs;
}

// IMAP folders are classified in this process alone: their verdicts are recorded on the server
// over the one connection the run holds.
std::size_t jobsFor(const ClassifyOptions& options, std::ostream& err) {
  if (options.jobs > 1 &&
      std::any_of(options.paths.begin(), options.paths.end(),
                  [](const std::string& path) { return isImapFolderUrl(path); })) {
    err << "mailhost: IMAP folders are classified in one process (--jobs " << options.jobs
        << " not used)\n";
    return 1;
  }
  return options.jobs;
}

} // namespace

CLI::App* addClassifyCommand(CLI::App& app, ClassifyOptions& options) {
  CLI::App* command = app.add_subcommand(
      "classify", "Have the junk-mail plug-in classify the messages of mail folders (mbox files, "
                  "Maildir folders, folders of .eml files) and message files, and store the "
                  "verdicts");
  command->add_option("paths", options.paths, "Folders and message files")->required();
  command->add_option("--mail-root", options.mailRoot, "Folder under which folder URIs are named")
      ->capture_default_str();
  command->add_flag("--json", options.json, "Write the results as one JSON document");
  command->add_flag("--reclassify", options.reclassify,
                    "Also classify the messages you have marked, replacing your verdicts");
  command->add_flag("--recursive,-r", options.recursive,
                    "Also classify the Maildir++ subfolders of each Maildir (not the junk folder)");
  command
      ->add_flag("--move-junk{}", options.junkFolder,
                 "Move junk out of Maildir folders into the .Junk folder of their tree, or with "
                 "--move-junk=FOLDER into FOLDER")
      ->type_name("[=FOLDER]");
  command
      ->add_option_function<std::string>(
          "-j,--jobs", [&options](const std::string& value) { options.jobs = jobsFromText(value); },
          "Classify with N worker processes at once (0 or auto: one per CPU); the output is in "
          "folder order all the same")
      ->type_name("N");
  command->formatter(std::make_shared<OptionalValueFormatter>());
  // A bare --move-junk leaves the folder empty, which tells nothing of whether it was given.
  command->callback([command, &options] { options.moveJunk = command->count("--move-junk") > 0; });
  return command;
}

int runClassifyCommand(HostSession& session, const ClassifyOptions& options, std::ostream& out,
                       std::ostream& err) {
  return runWithJunkMailPlugin(
      session, options.mailRoot,
      [&](nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store) {
        ClassifyProgress progress(stderr, STDOUT_FILENO);
        ClassifyRun run(plugin, mail, store);
        run.reclassify(options.reclassify);
        std::optional<ClassifyWorkers> workers;
        if (std::size_t jobs = jobsFor(options, err); jobs > 1) {
          workers.emplace(jobs, classifyWorkerCommand(session, options.mailRoot), mail.store(),
                          store, err);
          workers->reclassify(options.reclassify);
        }
        // Whichever of the two runs the command: the same hooks.
        auto onStored = [&](ClassifyRun::StoredCallback callback) {
          if (workers)
            workers->onStored(callback);
          run.onStored(std::move(callback));
        };
        auto onBatch = [&](ClassifyRun::BatchCallback callback) {
          if (workers)
            workers->onBatch(callback);
          run.onBatch(std::move(callback));
        };
        auto onProgress = [&](ClassifyRun::ProgressCallback callback) {
          if (workers)
            workers->onProgress(callback);
          run.onProgress(std::move(callback));
        };
        std::optional<JunkMover> mover;
        std::optional<JunkMoveLog> moveLog;
        if (options.moveJunk)
          mover.emplace(mail.store(),
                        moveLog.emplace(junkStorePath(session.options().profileDirectory)),
                        options.junkFolder);
        auto isJunkFolder = [&](const std::filesystem::path& folder) {
          return folder == (mover ? mover->junkFolderFor(folder) : defaultJunkFolder(folder));
        };
        std::vector<std::filesystem::path> paths =
            foldersToWalk(options.paths, options.recursive, isJunkFolder);
        if (mover) {
          if (std::optional<std::string> why = refusalToMoveJunk(paths, options, mail.store())) {
            err << "mailhost: --move-junk: " << *why << "\n";
            return 1;
          }
          onStored([&](std::vector<ClassifyOutcome>& batch, ClassifyReport& report) {
            moveJunkOf(batch, report, *mover, mail.store());
          });
        }
        // Lines are written batch by batch (where a message went is known only then) and
        // flushed before the bar is drawn.
        if (!options.json) {
          onBatch([&](const std::vector<ClassifyOutcome>& batch) {
            progress.makeRoomForOutput();
            for (const ClassifyOutcome& outcome : batch) {
              // A fourth field is where the message went (a path), or a note in parentheses.
              std::string path = outcome.path, movedTo = outcome.movedTo.string();
              if (outcome.origin == JunkOrigin::User)
                movedTo = "(yours)";
              out << (movedTo.empty()
                          ? outputLine({verdictWord(outcome.verdict), outcome.uri, path})
                          : outputLine({verdictWord(outcome.verdict), outcome.uri, path, movedTo}))
                  << '\n';
            }
            checkOutput(out); // output that cannot be written ends the run here
          });
        }
        std::optional<JsonReportWriter> json;
        if (options.json) {
          json.emplace(out);
          onBatch([&](const std::vector<ClassifyOutcome>& batch) {
            progress.makeRoomForOutput();
            for (const ClassifyOutcome& outcome : batch)
              json->add(outcome);
            checkOutput(out);
          });
        }
        onProgress([&](std::size_t done, std::size_t total) {
          if (progress.due(done, total)) {
            out.flush();
            progress.draw(done, total);
          }
        });

        ClassifyReport report = workers ? workers->run(paths) : run.run(paths);
        progress.clear();

        if (json) {
          json->finish(report);
        } else {
          out << report.messages << (report.messages == 1 ? " message: " : " messages: ")
              << report.count(ClassifyOutcome::Verdict::Junk) << " junk, "
              << report.count(ClassifyOutcome::Verdict::Good) << " good, ";
          if (report.unverified)
            out << report.unverified << " not verified, ";
          out << report.count(ClassifyOutcome::Verdict::Unclassified) << " not classified\n";
        }
        // The results before the problems, so that both in one stream read in order.
        out.flush();
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
        bool complete = report.errors.empty() && report.unclassified == 0;
        return complete ? 0 : 1;
      });
}

} // namespace mailhost
