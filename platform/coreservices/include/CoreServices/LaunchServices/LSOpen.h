/* Launching applications (docs/launch-services.md).

   An absolute path under /Applications is looked up under $LS_SYSTEM_ROOT/Applications when the
   environment variable LS_SYSTEM_ROOT is set: that folder stands for "/" of the local domain.
   Nothing else is redirected.

   Results of LSOpenFromURLSpec:
     kLSApplicationNotFoundErr -10814  no such file, or not a folder
     kLSAppInTrashErr          -10660  the bundle lies in the user's Trash
     kLSNotAnApplicationErr    -10811  no Info.plist nor PkgInfo, or a package type not 'APPL'
     kLSNoExecutableErr        -10827  Contents/MacOS/<CFBundleExecutable> missing or not
                                       executable, or exec refused it
     kLSExecutableIncorrectFormat -10661  exec did not recognise the file's format
     kLSUnknownErr             -10810  the application exited before it registered
     kLSLaunchInProgressErr    -10818  started, but not registered within the launch wait
                                       (10 s, or LS_LAUNCH_TIMEOUT_SECONDS)
     paramErr                  -50     no launch specification or no application URL */
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFURL.h>
#include <CoreServices/AE/AEDataModel.h>
#include <CoreServices/MacErrors.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef OptionBits LSLaunchFlags;
enum {
  kLSLaunchDefaults = 0x00000001,
  kLSLaunchAndPrint = 0x00000002,
  kLSLaunchAndDisplayErrors = 0x00000040,
  kLSLaunchInhibitBGOnly = 0x00000080,
  kLSLaunchDontAddToRecents = 0x00000100,
  kLSLaunchDontSwitch = 0x00000200,
  kLSLaunchNoParams = 0x00000800,
  kLSLaunchAsync = 0x00010000,
  kLSLaunchStartClassic = 0x00020000,
  kLSLaunchInClassic = 0x00040000,
  kLSLaunchNewInstance = 0x00080000,
  kLSLaunchAndHide = 0x00100000,
  kLSLaunchAndHideOthers = 0x00200000,
  kLSLaunchHasUntrustedContents = 0x00400000
};

typedef struct LSLaunchURLSpec {
  CFURLRef appURL;
  CFArrayRef itemURLs;          /* file URLs, passed to the application as arguments */
  const AEDesc* passThruParams; /* not used */
  LSLaunchFlags launchFlags;
  void* asyncRefCon;
} LSLaunchURLSpec;

/* Starts the application in the background (its own session, stdin from /dev/null, stdout and
   stderr inherited) unless one from the same bundle is running and kLSLaunchNewInstance is not
   set. Without kLSLaunchAsync it returns once the application has registered for Apple Events.
   *outLaunchedURL, when asked for, is the application's retained URL. */
OSStatus LSOpenFromURLSpec(const LSLaunchURLSpec* inLaunchSpec, CFURLRef* outLaunchedURL);

#ifdef __cplusplus
}
#endif
