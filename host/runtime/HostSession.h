// Everything a host command works with: the runtime, the profile's preferences service and the
// loaded plug-in bundle, set up in that order and torn down in reverse.
#pragma once

#include "plugin/PluginBundle.h"
#include "runtime/XpcomRuntime.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace mailhost {

struct HostOptions {
  std::string profileDirectory;
  std::string pluginPath;
};

class HostSession {
public:
  // Throws HostError. Problems in prefs.js are reported on diagnostics and do not stop the host.
  HostSession(const HostOptions& options, std::ostream& diagnostics);

  const HostOptions& options() const { return mOptions; }
  const std::vector<RegisteredComponent>& registered() const { return mRegistered; }

private:
  HostOptions mOptions;
  XpcomRuntime mRuntime;
  std::vector<RegisteredComponent> mRegistered;
};

} // namespace mailhost
