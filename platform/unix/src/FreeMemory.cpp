#include "unix/FreeMemory.h"

#if __has_include(<malloc.h>)
#include <malloc.h> // defines __GLIBC__ on glibc
#endif

namespace os {

void returnFreeMemory() {
#if defined(__GLIBC__)
  ::malloc_trim(0);
#endif
}

} // namespace os
