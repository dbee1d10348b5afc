#include "launchservices/Launcher.h"

#include <CoreServices/MacErrors.h>
#include <unix/DetachedProcess.h>

#include <cerrno>

namespace coreservices {

namespace {

OSStatus statusForExecError(int error) {
  switch (error) {
  case 0:
    return noErr;
  case ENOEXEC:
    return kLSExecutableIncorrectFormat;
  case EACCES:
  case EPERM:
  case ENOENT:
  case ENOTDIR:
    return kLSNoExecutableErr;
  default:
    return kLSUnknownErr;
  }
}

} // namespace

LaunchOutcome launchDetached(const std::string& executable,
                             const std::vector<std::string>& arguments) {
  os::DetachedProcess process = os::startDetached(executable, arguments);
  if (!process.started)
    return {kLSUnknownErr, 0};
  return {statusForExecError(process.execError), process.pid};
}

} // namespace coreservices
