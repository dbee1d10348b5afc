#include "SecondStart.h"

#include "HostSettings.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

extern char** environ;

namespace mailhost {

namespace {

// Whether this process runs with the host's settings.
bool sWithHostSettings = false;

} // namespace

// The launcher on PATH sets the settings before this program starts, so this is for a start of
// the program itself. The delivery filter handles one message and ends, so a second start would
// only cost it time (a third of its run); a folder that happens to be called "filter" merely
// keeps GLib's slices.
void startAgainWithHostSettings(int argc, char** argv) {
  if (takeBackUsersEnvironment()) {
    sWithHostSettings = true;
    return;
  }
  if (std::find(argv + 1, argv + argc, std::string_view("filter")) != argv + argc ||
      !putHostSettings())
    return;
  ::execv("/proc/self/exe", argv);
  takeBackUsersEnvironment(); // not started again: as the user started it
}

std::vector<std::string> environmentForAnotherHost() {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry; ++entry)
    environment.emplace_back(*entry);
  if (!sWithHostSettings)
    return environment; // it decides for itself, as this process did
  std::erase_if(environment, [](const std::string& entry) {
    return entry.starts_with("G_SLICE=") || entry.starts_with("GLIBC_TUNABLES=");
  });
  for (std::string& entry : hostSettings(std::getenv("GLIBC_TUNABLES")))
    environment.push_back(std::move(entry));
  return environment;
}

} // namespace mailhost
