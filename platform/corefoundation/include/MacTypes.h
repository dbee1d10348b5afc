/* Basic types and result codes of the Mac platform, shared by every platform library. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef uint64_t UInt64;
typedef int64_t SInt64;

typedef float Float32;
typedef double Float64;
typedef SInt32 Fixed;
typedef SInt32 Fract;

typedef char* Ptr;
typedef Ptr* Handle;
typedef long Size;

typedef SInt16 OSErr;
typedef SInt32 OSStatus;
typedef void* LogicalAddress;
typedef const void* ConstLogicalAddress;

typedef UInt8 Byte;
typedef SInt8 SignedByte;
typedef unsigned char Boolean;

typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
typedef FourCharCode ResType;
typedef UInt32 OptionBits;
typedef unsigned long ItemCount;
typedef unsigned long ByteCount;
typedef long ByteOffset;
typedef SInt16 ScriptCode;
typedef SInt16 LangCode;
typedef SInt16 RegionCode;

typedef UInt16 UniChar;
typedef unsigned long UniCharCount;
typedef UniChar* UniCharPtr;
typedef unsigned char Str255[256];
typedef unsigned char Str63[64];
typedef unsigned char Str32[33];
typedef unsigned char Str31[32];
typedef unsigned char Str27[28];
typedef unsigned char Str15[16];
typedef unsigned char* StringPtr;
typedef StringPtr* StringHandle;
typedef const unsigned char* ConstStringPtr;
typedef const unsigned char* ConstStr255Param;
typedef const unsigned char* ConstStr63Param;
typedef const unsigned char* ConstStr31Param;

typedef struct Point {
  short v;
  short h;
} Point;

typedef struct Rect {
  short top;
  short left;
  short bottom;
  short right;
} Rect;

/* A process as the Process Manager names it. */
typedef struct ProcessSerialNumber {
  UInt32 highLongOfPSN;
  UInt32 lowLongOfPSN;
} ProcessSerialNumber;
typedef ProcessSerialNumber* ProcessSerialNumberPtr;

enum {
  noErr = 0,
  unimpErr = -4,
  ioErr = -36,
  eofErr = -39,
  fnfErr = -43,
  paramErr = -50,
  permErr = -54,
  memFullErr = -108,
  nilHandleErr = -109,
  memWZErr = -111,
  userCanceledErr = -128
};

enum { kNilOptions = 0 };
enum { kVariableLengthArray = 1 };
enum { kUnknownType = 0x3F3F3F3F };

#ifdef __cplusplus
}

/* A four-character code from its four characters, the first in the high byte:
 * FOUR_CHAR_CODE("Qbrk"). */
constexpr FourCharCode FOUR_CHAR_CODE(const char (&code)[5]) {
  return (FourCharCode(UInt8(code[0])) << 24) | (FourCharCode(UInt8(code[1])) << 16) |
         (FourCharCode(UInt8(code[2])) << 8) | FourCharCode(UInt8(code[3]));
}
#endif
