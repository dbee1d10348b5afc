#include <CoreServices/LaunchServices/LSOpen.h>

#include "launchservices/ApplicationFolders.h"
#include "launchservices/BundleInfo.h"
#include "launchservices/CFStrings.h"
#include "launchservices/Launcher.h"
#include <unix/Files.h>
#include <unix/FolderWatch.h>
#include <unix/ProcessTable.h>
#include <unix/Registry.h>
#include <unix/RuntimeFolder.h>
#include <unix/Syscalls.h>

#include <CoreFoundation/CFArray.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace coreservices;

namespace {

constexpr OSType kApplicationType = 0x4150504C; // 'APPL'
constexpr long kDefaultLaunchWaitSeconds = 10;

std::chrono::milliseconds launchWait() {
  if (const char* text = std::getenv("LS_LAUNCH_TIMEOUT_SECONDS")) {
    char* end = nullptr;
    double seconds = std::strtod(text, &end);
    if (end != text && *end == '\0' && seconds > 0)
      return std::chrono::milliseconds(static_cast<long>(seconds * 1000));
  }
  return std::chrono::seconds(kDefaultLaunchWaitSeconds);
}

std::string resolvedPath(const std::string& path) {
  std::string resolved = os::realPath(path);
  return resolved.empty() ? path : resolved;
}

bool isRunning(const std::string& bundle) {
  std::string resolved = resolvedPath(bundle);
  os::LiveEntries entries = os::liveEntries();
  for (auto& entry : *entries)
    if (entry.bundlePath == resolved)
      return true;
  return false;
}

OSStatus checkBundle(const std::string& path, BundleInfo& info) {
  auto read = readBundleInfo(path);
  if (!read)
    return kLSApplicationNotFoundErr;
  if (isInTrash(path))
    return kLSAppInTrashErr;
  if ((!read->hasInfoPlist && !read->hasPkgInfo) || read->packageType != kApplicationType)
    return kLSNotAnApplicationErr;
  if (!os::isExecutableFile(read->executablePath()))
    return kLSNoExecutableErr;
  info = *read;
  return noErr;
}

// Without a way to be woken (no watch on the registry folder, no process descriptor), the
// registry is looked at this often.
constexpr int kPollMilliseconds = 5;

OSStatus waitForRegistration(pid_t pid, const std::string& program, const std::string& bundle) {
  auto deadline = std::chrono::steady_clock::now() + launchWait();
  // Woken when an entry is renamed into the registry folder or the launched process ends, so
  // the caller goes on as soon as the application can take events. Both are in place before
  // the first look, so that no change between a look and the wait goes unnoticed.
  auto folder = os::runtimeFolder(true);
  os::FolderWatch registry(folder.value_or(""));
  int process = os::openProcess(pid);
  bool woken = registry.descriptor() >= 0 && process >= 0;
  OSStatus status = kLSLaunchInProgressErr;
  for (;;) {
    if (os::findLiveEntry(pid)) {
      status = noErr;
      break;
    }
    if (!os::processStartTime(pid)) {
      // An application that allows one instance hands over to the one already running (which
      // it has seen registered) and ends: the application is open.
      status = noErr;
      if (!os::findLiveEntry(pid) && !isRunning(bundle)) {
        std::fprintf(stderr, "LaunchServices: %s exited before it registered for Apple Events\n",
                     program.c_str());
        status = kLSUnknownErr;
      }
      break;
    }
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now())
                    .count();
    if (left <= 0) {
      std::fprintf(stderr, "LaunchServices: %s did not register for Apple Events in time\n",
                   program.c_str());
      break;
    }
    pollfd wakers[2] = {{registry.descriptor(), POLLIN, 0}, {process, POLLIN, 0}};
    int waitMilliseconds = static_cast<int>(
        std::min<long long>(left + 1, woken ? static_cast<long long>(INT_MAX) : kPollMilliseconds));
    if (os::calls().poll(wakers, 2, waitMilliseconds) < 0 && errno != EINTR)
      std::this_thread::sleep_for(std::chrono::milliseconds(kPollMilliseconds));
    registry.drain();
  }
  if (process >= 0)
    os::calls().close(process);
  return status;
}

std::vector<std::string> itemPaths(CFArrayRef items) {
  std::vector<std::string> paths;
  if (!items)
    return paths;
  for (CFIndex i = 0; i < CFArrayGetCount(items); ++i)
    if (auto path = filePath(static_cast<CFURLRef>(CFArrayGetValueAtIndex(items, i))))
      paths.push_back(*path);
  return paths;
}

} // namespace

extern "C" OSStatus LSOpenFromURLSpec(const LSLaunchURLSpec* inLaunchSpec,
                                      CFURLRef* outLaunchedURL) {
  if (outLaunchedURL)
    *outLaunchedURL = nullptr;
  if (!inLaunchSpec || !inLaunchSpec->appURL)
    return paramErr;
  auto given = filePath(inLaunchSpec->appURL);
  if (!given)
    return kLSApplicationNotFoundErr;
  std::string path = localDomainPath(*given);
  while (path.size() > 1 && path.back() == '/')
    path.pop_back();

  BundleInfo info;
  if (OSStatus checked = checkBundle(path, info); checked != noErr)
    return checked;

  LSLaunchFlags flags = inLaunchSpec->launchFlags;
  if ((flags & kLSLaunchNewInstance) || !isRunning(path)) {
    std::string program = info.executablePath();
    LaunchOutcome launched = launchDetached(program, itemPaths(inLaunchSpec->itemURLs));
    if (launched.status != noErr)
      return launched.status;
    if (!(flags & kLSLaunchAsync))
      if (OSStatus registered = waitForRegistration(launched.pid, program, path);
          registered != noErr)
        return registered;
  }
  if (outLaunchedURL)
    *outLaunchedURL = fileURL(path, true);
  return noErr;
}
