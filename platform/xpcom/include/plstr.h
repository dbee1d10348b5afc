// String helpers of the host's portable runtime. Their memory comes from the same allocator as
// NS_Alloc, so a copy may be released with PL_strfree or NS_Free.
#pragma once

#include "nscore.h"

extern "C" {
NS_EXPORT char* PL_strdup(const char* s); // null gives a copy of ""
NS_EXPORT char* PL_strndup(const char* s, PRUint32 max);
NS_EXPORT void PL_strfree(char* s);
NS_EXPORT PRUint32 PL_strlen(const char* str); // 0 for null
NS_EXPORT PRIntn PL_strcmp(const char* a, const char* b);
NS_EXPORT char* PL_strstr(const char* big, const char* little);
}
