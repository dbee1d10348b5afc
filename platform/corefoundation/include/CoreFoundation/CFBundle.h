/* Bundles: a folder "<name>.app" (or any folder) with Contents/Info.plist. */
#ifndef COREFOUNDATION_CFBUNDLE_H
#define COREFOUNDATION_CFBUNDLE_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

typedef struct __CFBundle* CFBundleRef;

CF_EXPORT const CFStringRef kCFBundleInfoDictionaryVersionKey;
CF_EXPORT const CFStringRef kCFBundleExecutableKey;
CF_EXPORT const CFStringRef kCFBundleIdentifierKey;
CF_EXPORT const CFStringRef kCFBundleVersionKey;
CF_EXPORT const CFStringRef kCFBundleNameKey;

CF_EXPORT CFTypeID CFBundleGetTypeID(void);

/* The bundle of the running program: the ".app" folder when the executable lies in
   <name>.app/Contents/MacOS/, else the executable's folder. Not to be released. */
CF_EXPORT CFBundleRef CFBundleGetMainBundle(void);
/* NULL when bundleURL is not an existing folder. */
CF_EXPORT CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef bundleURL);

CF_EXPORT CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle);
CF_EXPORT CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);
/* Never NULL: an empty dictionary when the bundle has no readable Info.plist. */
CF_EXPORT CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);
CF_EXPORT CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key);
/* CFBundlePackageType and CFBundleSignature as codes; '????' when unknown. */
CF_EXPORT void CFBundleGetPackageInfo(CFBundleRef bundle, UInt32* packageType,
                                      UInt32* packageCreator);

CF_EXTERN_C_END

#endif /* COREFOUNDATION_CFBUNDLE_H */
