#include "ClassifyWorker.h"

#include "ClassifyRun.h"
#include "JunkMailCommand.h"
#include "WorkerProtocol.h"
#include "runtime/HostSession.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <ostream>
#include <sys/prctl.h>
#include <unistd.h>

namespace mailhost {

namespace {

// For tests of a run that loses a worker: a worker takes its own life on the batch that would
// bring it past this many messages.
std::optional<std::size_t> messagesBeforeDying() {
  const char* text = std::getenv("MAILHOST_TEST_WORKER_DIES_AFTER");
  if (!text || !*text)
    return std::nullopt;
  return std::strtoull(text, nullptr, 10);
}

// The next frame from the parent; nothing when it has closed the socket between frames.
std::optional<std::string> readFrame(int channel, FrameReader& reader) {
  for (;;) {
    if (std::optional<std::string> payload = reader.next())
      return payload;
    char bytes[65536];
    ssize_t count = ::read(channel, bytes, sizeof bytes);
    if (count < 0 && errno == EINTR)
      continue;
    if (count < 0)
      throw ProtocolError(std::string("cannot read from the parent: ") + std::strerror(errno));
    if (count == 0) {
      if (!reader.empty())
        throw ProtocolError("the parent's last frame was cut short");
      return std::nullopt;
    }
    reader.append(bytes, static_cast<std::size_t>(count));
  }
}

} // namespace

CLI::App* addClassifyWorkerCommand(CLI::App& app, ClassifyWorkerOptions& options) {
  CLI::App* command = app.add_subcommand("classify-worker", "");
  command->group(""); // hidden
  command->add_option("--mail-root", options.mailRoot)->required();
  command->add_option("--cpu", options.cpu);
  return command;
}

std::vector<std::string> classifyWorkerCommand(const HostSession& session,
                                               const std::string& mailRoot) {
  return {"/proc/self/exe",
          "--profile",
          session.options().profileDirectory,
          "--plugin",
          session.options().pluginPath,
          "classify-worker",
          "--mail-root",
          mailRoot};
}

int runClassifyWorker(HostSession& session, const ClassifyWorkerOptions& options, int channel,
                      std::ostream& err) {
  // A parent that is gone takes its workers with it.
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  std::optional<std::size_t> dieAfter = messagesBeforeDying();
  return runWithJunkMailPlugin(
      session, options.mailRoot,
      [&](nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store) {
        ClassifyRun run(plugin, mail, store);
        run.reclassify(true); // the parent has kept the user's verdicts out
        // Held to the CPU the parent gave: pinned where each happened to be, workers would crowd
        // onto one CPU; left free, each exchange's hand-overs would wake the other CPU.
        run.oneCpuPerBatch(false);
        if (options.cpu >= 0)
          run.batchesOnCpu(options.cpu);
        FrameReader reader;
        std::size_t done = 0;
        try {
          while (std::optional<std::string> payload = readFrame(channel, reader)) {
            WorkerRequest request = decodeRequest(*payload);
            if (dieAfter && done + request.uris.size() > *dieAfter)
              ::raise(SIGKILL);
            ClassifyReport report;
            WorkerReply reply;
            for (ClassifyOutcome& outcome : run.classifyWithoutStoring(request.uris, report))
              reply.results.push_back({std::move(outcome.uri), outcome.verdict, outcome.error,
                                       outcome.error.starts_with("left out: ")});
            reply.errors = std::move(report.errors);
            reply.stopReason = std::move(report.stopReason);
            if (!sendAll(channel, encodeReply(reply)))
              throw ProtocolError(std::string("cannot answer the parent: ") + std::strerror(errno));
            done += request.uris.size();
          }
        } catch (const ProtocolError& error) {
          err << "mailhost: classify-worker: " << error.what() << "\n";
          return 1;
        }
        return 0;
      });
}

} // namespace mailhost
