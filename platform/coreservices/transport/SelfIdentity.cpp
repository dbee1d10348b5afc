#include "transport/SelfIdentity.h"

#include "launchservices/BundleInfo.h"
#include <unix/ProcessTable.h>

#include <climits>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace coreservices {

namespace {

std::string ownExecutable() {
  char buffer[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  return length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
}

std::string firstArgument() {
  std::ifstream in("/proc/self/cmdline", std::ios::binary);
  std::string argument;
  std::getline(in, argument, '\0');
  if (argument.empty() || argument.find('/') == std::string::npos)
    return {};
  if (argument[0] != '/') {
    char cwd[PATH_MAX];
    if (!getcwd(cwd, sizeof cwd))
      return {};
    argument = std::string(cwd) + "/" + argument;
  }
  struct stat info {};
  return stat(argument.c_str(), &info) == 0 && S_ISREG(info.st_mode) ? argument : std::string();
}

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

  std::string executable = ownExecutable();
  auto bundle = bundleOfExecutable(executable);
  if (!bundle) {
    std::string argument = firstArgument();
    if (auto viaArgument = bundleOfExecutable(argument)) {
      bundle = viaArgument;
      executable = argument;
    }
  }
  self.name = executable.empty() ? os::processCommandName(self.pid) : fileName(executable);
  if (bundle) {
    if (auto info = readBundleInfo(*bundle)) {
      self.signature = info->signature;
      char resolved[PATH_MAX];
      self.bundlePath = realpath(bundle->c_str(), resolved) ? resolved : *bundle;
    }
  }
  return self;
}

} // namespace coreservices
