// Where the word list, the work folders and the log live, and how programs are found.
#pragma once

#include <filesystem>
#include <string>

namespace quellbark {

// Where the word list lives: $QUELLBARK_DATA_DIR, else $XDG_DATA_HOME/Quellbark, else
// ~/.local/share/Quellbark.
std::filesystem::path defaultDataFolder();

// Where private work folders go: $XDG_RUNTIME_DIR/Quellbark when the runtime dir is usable
// (without XDG_RUNTIME_DIR, /run/user/<uid>), else <data folder>/work.
std::filesystem::path defaultWorkRoot(const std::filesystem::path& dataFolder);

// Where the application keeps its log: $XDG_STATE_HOME/Quellbark, else
// ~/.local/state/Quellbark.
std::filesystem::path defaultStateFolder();

// A program given by name is looked up on $PATH; a path containing '/' is taken as is.
// Returns empty when nothing executable is found.
std::filesystem::path resolveProgram(const std::string& nameOrPath);

} // namespace quellbark
