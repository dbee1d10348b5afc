// `mailhost native-host`: serving a mail client's extension over native messaging.
#pragma once

#include "runtime/HostSession.h"

#include <CLI/CLI.hpp>

#include <iosfwd>
#include <string>
#include <vector>

namespace mailhost {

// `mailhost native-host`: serves a mail client's extension over the native-messaging protocol
// on standard input and output until the input closes (exit 0). The client starts it with the
// path of its manifest and the extension's id as arguments; they are accepted and not needed.
CLI::App* addNativeHostCommand(CLI::App& app, std::vector<std::string>& clientArguments);
int runNativeHostCommand(const HostOptions& options, std::ostream& err);

// Names the file where verdicts and confirmations are recorded; unset: nothing is recorded.
inline constexpr const char* kNativeRecordVariable = "QUELLBARK_NATIVE_RECORD";

} // namespace mailhost
