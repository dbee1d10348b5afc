// One worker process of `mailhost classify -j N`, started by the run's parent as the hidden
// command `classify-worker` with its socket to the parent as standard input.
#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <string>

namespace mailhost {

class HostSession;

struct ClassifyWorkerOptions {
  std::string mailRoot;
  int cpu = -1; // the CPU the parent gave this worker's exchanges; none when negative
};

// Hidden from the help and the completion: only the classify command starts it.
CLI::App* addClassifyWorkerCommand(CLI::App& app, ClassifyWorkerOptions& options);

// Classifies the batches the parent sends on `channel` with this process's own plug-in instance,
// stores nothing, and answers each batch; ends when the parent closes the socket. Exit status 0
// then, 1 when the socket or the parent's bytes fail.
int runClassifyWorker(HostSession& session, const ClassifyWorkerOptions& options, int channel,
                      std::ostream& err);

// The command line that starts a worker for this executable, session and mail root (the parent
// adds the worker's CPU).
std::vector<std::string> classifyWorkerCommand(const HostSession& session,
                                               const std::string& mailRoot);

} // namespace mailhost
