// The shared allocator and the portable-runtime string helpers built on it.
#include <stdlib.h>
#include <string.h>

#include "nsXPCOM.h"
#include "plstr.h"

extern "C" {

void* NS_Alloc(PRSize size) {
  return malloc(size ? size : 1);
}

void* NS_Realloc(void* ptr, PRSize size) {
  return realloc(ptr, size ? size : 1);
}

void NS_Free(void* ptr) {
  free(ptr);
}

char* PL_strdup(const char* s) {
  if (!s)
    s = "";
  size_t n = strlen(s) + 1;
  char* copy = static_cast<char*>(NS_Alloc(n));
  if (copy)
    memcpy(copy, s, n);
  return copy;
}

char* PL_strndup(const char* s, PRUint32 max) {
  if (!s)
    s = "";
  size_t n = strnlen(s, max);
  char* copy = static_cast<char*>(NS_Alloc(n + 1));
  if (copy) {
    memcpy(copy, s, n);
    copy[n] = '\0';
  }
  return copy;
}

void PL_strfree(char* s) {
  NS_Free(s);
}

PRUint32 PL_strlen(const char* str) {
  return str ? PRUint32(strlen(str)) : 0;
}

PRIntn PL_strcmp(const char* a, const char* b) {
  if (!a || !b)
    return PRIntn(a != nullptr) - PRIntn(b != nullptr);
  return strcmp(a, b);
}

char* PL_strstr(const char* big, const char* little) {
  if (!big || !little)
    return nullptr;
  return const_cast<char*>(strstr(big, little));
}
}
