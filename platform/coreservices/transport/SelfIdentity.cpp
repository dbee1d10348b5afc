#include "transport/SelfIdentity.h"

#include "launchservices/BundleInfo.h"
#include <unix/Files.h>
#include <unix/ProcessTable.h>

#include <unistd.h>

namespace coreservices {

namespace {

std::string fileName(const std::string& path) {
  auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

os::RegistryEntry identifyThisProcess() {
  os::RegistryEntry self;
  self.pid = getpid();
  self.startTime = os::processStartTime(self.pid).value_or(0);
  self.signature = kUnknownSignature;

  std::string executable = os::thisExecutable();
  auto bundle = bundleOfExecutable(executable);
  if (!bundle) {
    std::string argument = os::thisFirstArgumentAsFile();
    if (auto viaArgument = bundleOfExecutable(argument)) {
      bundle = viaArgument;
      executable = argument;
    }
  }
  self.name = executable.empty() ? os::processCommandName(self.pid) : fileName(executable);
  if (bundle) {
    if (auto info = readBundleInfo(*bundle)) {
      self.signature = info->signature;
      std::string resolved = os::realPath(*bundle);
      self.bundlePath = resolved.empty() ? *bundle : resolved;
    }
  }
  return self;
}

} // namespace coreservices
