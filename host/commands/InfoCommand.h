// `mailhost info`: what the plug-in bundle registered and the plug-in's simple answers.
#pragma once

#include <CLI/CLI.hpp>
#include <iosfwd>

namespace mailhost {

class HostSession;

CLI::App* addInfoCommand(CLI::App& app);
int runInfoCommand(HostSession& session, std::ostream& out);

} // namespace mailhost
