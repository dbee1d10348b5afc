// Loading a plug-in bundle the way the host's component manager does: the runtime opens the
// file, calls its NSGetModule and lets the module register its components.
#pragma once

#include <nsID.h>
#include <string>
#include <vector>

namespace mailhost {

struct RegisteredComponent {
  nsCID classID;
  std::string className;
  std::string contractID;
  std::string moduleName;
};

// Registers what the bundle at path provides and returns it. Throws HostError with one clear
// line when the file is missing, is no loadable bundle, has no NSGetModule, or its module fails.
std::vector<RegisteredComponent> loadPluginBundle(const std::string& path);

// "<exe dir>/../lib/QuellbarkPlugIn.so": where a build or an installation puts the bundle.
std::string defaultPluginPath();

} // namespace mailhost
