// The allocator shared by the host and its components.
#pragma once

#include <string.h>

#include "nsXPCOM.h"

class nsMemory {
public:
  static void* Alloc(PRSize size) { return NS_Alloc(size); }
  static void* Realloc(void* ptr, PRSize size) { return NS_Realloc(ptr, size); }
  static void Free(void* ptr) { NS_Free(ptr); }
  static void* Clone(const void* ptr, PRSize size);
};

inline void* nsMemory::Clone(const void* ptr, PRSize size) {
  void* copy = NS_Alloc(size);
  if (copy && size)
    memcpy(copy, ptr, size);
  return copy;
}
