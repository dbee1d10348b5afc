/* File URLs for POSIX paths. */
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef CFIndex CFURLPathStyle;
enum { kCFURLPOSIXPathStyle = 0, kCFURLHFSPathStyle = 1, kCFURLWindowsPathStyle = 2 };

typedef const struct __CFURL* CFURLRef;

CF_EXPORT CFTypeID CFURLGetTypeID(void);

/* A "file://" URL. A relative path is resolved against the current directory; one trailing '/'
   is dropped (unless the path is "/") and isDirectory decides whether the URL ends in '/'.
   Only the POSIX style is supported; other styles give NULL. */
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                                 CFURLPathStyle pathStyle, Boolean isDirectory);
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator,
                                                           const UInt8* buffer, CFIndex bufLen,
                                                           Boolean isDirectory);

CF_EXPORT CFStringRef CFURLGetString(CFURLRef anURL);
/* The path with percent escapes removed and without a trailing '/' (unless it is "/"). */
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase,
                                                   UInt8* buffer, CFIndex maxBufLen);
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef anURL);

CF_EXTERN_C_END
