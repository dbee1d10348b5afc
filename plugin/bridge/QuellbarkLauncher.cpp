#include "QuellbarkLauncher.h"

#include "QuellbarkAppleEvents.h"
#include "log/QuellbarkLog.h"

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <CoreServices/LaunchServices/LaunchServices.h>

namespace {

const CFStringRef kCouldNotFindTitle = CFSTR("Could Not Find Quellbark");
const CFStringRef kCouldNotFindText =
    CFSTR("Thunderbird cannot find the Quellbark application. In order for it to filter "
          "messages using Quellbark, make sure that the Quellbark application is installed "
          "directly in your Applications folder.");
const CFStringRef kCouldNotLaunchTitle = CFSTR("Could Not Launch Quellbark");
const CFStringRef kInTrashText =
    CFSTR("Please empty the trash to remove your old copy of Quellbark and make sure that the "
          "latest version of Quellbark is installed in your Applications folder.");
const CFStringRef kLaunchErrorFormat =
    CFSTR("Mac OS X reported error %d when trying to launch Quellbark.");

// The classic length of the process information record: the signature lies well inside it, and
// neither the name nor the application file is asked for.
constexpr UInt32 kProcessInfoLength = 60;

bool isQuellbarkRunning() {
  ProcessSerialNumber process = {0, kNoProcess};
  while (GetNextProcess(&process) == noErr) {
    ProcessInfoRec info = {};
    info.processInfoLength = kProcessInfoLength;
    info.processName = nullptr;
    info.processAppRef = nullptr;
    if (GetProcessInformation(&process, &info) != noErr)
      continue;
    if (info.processSignature == kQuellbarkSignature)
      return true;
  }
  return false;
}

// Launches in the background and waits until the launch has been carried out.
OSStatus launchPath(CFStringRef path) {
  CFURLRef url =
      CFURLCreateWithFileSystemPath(kCFAllocatorDefault, path, kCFURLPOSIXPathStyle, false);
  LSLaunchURLSpec launchSpec = {url, nullptr, nullptr, kLSLaunchDontSwitch, nullptr};
  OSStatus status = LSOpenFromURLSpec(&launchSpec, nullptr);
  CFRelease(url);
  return status;
}

// Only the first notice of the process is shown: one missing application is worth telling the
// user once, not before every message.
void runAlert(CFStringRef title, CFStringRef text) {
  static bool notified = false;
  if (notified)
    return;
  (void)CFUserNotificationDisplayNotice(0.0, kCFUserNotificationCautionAlertLevel, nullptr, nullptr,
                                        nullptr, title, text, nullptr);
  notified = true;
}

// Tried in this order when Launch Services does not know the application by its signature;
// why each attempt failed is of no interest, only that none worked.
void launchFromFixedLocations() {
  if (launchPath(CFSTR("/Applications/Quellbark.app")) == noErr)
    return;
  if (launchPath(CFSTR("/Applications/Internet/Quellbark.app")) == noErr)
    return;
  runAlert(kCouldNotFindTitle, kCouldNotFindText);
}

void reportLaunchError(OSStatus status) {
  CFMutableDictionaryRef options = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFStringRef text =
      CFStringCreateWithFormat(kCFAllocatorDefault, options, kLaunchErrorFormat, int(status));
  runAlert(kCouldNotLaunchTitle, text);
  CFRelease(options);
  CFRelease(text);
}

} // namespace

void launchQuellbarkIfNecessary() {
  if (isQuellbarkRunning())
    return;

  CFURLRef appURL = nullptr;
  OSStatus status =
      LSFindApplicationForInfo(kQuellbarkSignature, nullptr, nullptr, nullptr, &appURL);
  if (status != noErr) {
    error("LSFindApplicationForInfo failed %d.", int(status));
    launchFromFixedLocations();
    return;
  }

  CFStringRef path = CFURLCopyFileSystemPath(appURL, kCFURLPOSIXPathStyle);
  CFRelease(appURL);
  // A copy that fails to launch is reported as it is; the fixed locations are not tried then.
  OSStatus launchStatus = launchPath(path);
  if (launchStatus == kLSAppInTrashErr)
    runAlert(kCouldNotLaunchTitle, kInTrashText);
  else if (launchStatus != noErr)
    reportLaunchError(launchStatus);
  CFRelease(path);
}
