// Fixed-width integer types and the 4-byte boolean that the host's interfaces are written in.
#pragma once

#include <stddef.h>
#include <stdint.h>

typedef uint8_t PRUint8;
typedef int8_t PRInt8;
typedef uint16_t PRUint16;
typedef int16_t PRInt16;
typedef uint32_t PRUint32;
typedef int32_t PRInt32;
typedef uint64_t PRUint64;
typedef int64_t PRInt64;
typedef int PRIntn;
typedef unsigned int PRUintn;
typedef size_t PRSize;
typedef double PRFloat64;

// A boolean in the host's ABI is an int, four bytes wide, not C++ bool.
typedef PRIntn PRBool;
#define PR_TRUE 1
#define PR_FALSE 0

typedef PRInt32 PRStatus;
#define PR_SUCCESS 0
#define PR_FAILURE (-1)

#define PR_UINT32_MAX 0xffffffffU
#define PR_INT32_MAX 0x7fffffff
