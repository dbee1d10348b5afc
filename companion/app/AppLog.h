// Quellbark's log: standard error when someone reads it, else a rotated file in the state folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace quellbark {

// Where a serving Quellbark's log lines go. Standard error when someone reads it: a terminal,
// the journal under systemd, or a file or pipe the caller chose. When standard error is
// /dev/null or closed (a launched application), the lines go to Quellbark.log in the state
// folder (0700, the file 0600), which is moved to Quellbark.log.1 when it reaches the size
// limit; standard error is then pointed at that file too, so nothing written there is lost.
class AppLog {
public:
  static constexpr std::uintmax_t kRotateSize = std::uintmax_t{1} << 20; // 1 MiB

  // Decides the destination once, at start-up; a log file that cannot be opened leaves
  // standard error as it is.
  static void start(const std::filesystem::path& stateFolder);
  // "Quellbark: <line>", with the time in front in the log file. Safe from any thread.
  static void line(const std::string& text);
};

} // namespace quellbark
