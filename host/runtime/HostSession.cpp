#include "runtime/HostSession.h"

#include "prefs/PreferencesService.h"
#include "profile/ProfileDirectory.h"
#include "runtime/HostError.h"

#include <cstdio>
#include <ostream>

namespace mailhost {

HostSession::HostSession(const HostOptions& options, std::ostream& diagnostics)
    : mOptions(options) {
  if (std::string problem = prepareProfileDirectory(mOptions.profileDirectory); !problem.empty())
    throw HostError(problem);
  nsresult rv = registerPreferencesService(
      mOptions.profileDirectory + "/prefs.js",
      [&diagnostics](const std::string& line) { diagnostics << "mailhost: " << line << "\n"; });
  if (NS_FAILED(rv)) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08x", rv);
    throw HostError(std::string("cannot register the preferences service (") + code + ")");
  }
  mRegistered = loadPluginBundle(mOptions.pluginPath);
}

} // namespace mailhost
