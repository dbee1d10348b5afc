/* File references as Launch Services and the Process Manager hand them out. An FSRef is opaque:
   it names a file system path known to this process; FSRefMakePath gives the path back. */
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct FSRef {
  UInt8 hidden[80];
} FSRef;
typedef FSRef* FSRefPtr;

/* The POSIX path of ref as a NUL-terminated UTF-8 string. paramErr for a reference this process
   did not make or a buffer too small for the path. */
OSStatus FSRefMakePath(const FSRef* ref, UInt8* path, UInt32 maxPathSize);

#ifdef __cplusplus
}
#endif
