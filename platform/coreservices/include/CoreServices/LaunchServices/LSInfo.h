/* Finding installed applications.

   Folders searched, in this order: each folder of the environment variable LS_APPLICATION_PATH
   (colon-separated), ~/Applications, <root>/Applications, every subfolder of
   <root>/Applications that is not itself a bundle (Utilities, Internet, ...), then the Trash
   (~/.Trash, $XDG_DATA_HOME/Trash/files and ~/.local/share/Trash/files). <root> is the
   environment variable LS_SYSTEM_ROOT, or "/" (docs/launch-services.md). Within a folder the
   bundles (folders named *.app) are taken in name order; the first that matches wins. */
#pragma once

#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>
#include <CoreServices/CarbonCore/Files.h>
#include <CoreServices/MacErrors.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kLSUnknownCreator = 0 };

/* Matches every criterion given: the creator signature (CFBundleSignature of Info.plist, else
   Contents/PkgInfo), the bundle identifier and the bundle's file name including ".app" (both
   case-insensitive). All three absent: paramErr. Nothing found: kLSApplicationNotFoundErr.
   *outAppURL is a retained directory URL. */
OSStatus LSFindApplicationForInfo(OSType inCreator, CFStringRef inBundleID, CFStringRef inName,
                                  FSRef* outAppRef, CFURLRef* outAppURL);

#ifdef __cplusplus
}
#endif
