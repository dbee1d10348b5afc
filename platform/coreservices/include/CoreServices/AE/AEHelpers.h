/* Building descriptors and events from a small text language, for example
     AEBuildDesc(&d, &err, "{want:type(cwin), seld:long(@)}", 3)
   The language is described in docs/aebuild-language.md. Substitutions ('@') read C arguments
   by the type in front of them: bool and shor take an int, long/enum/type a 32-bit int,
   sing and doub a double, TEXT a NUL-terminated char*, an untyped '@' a const AEDesc*, and
   any other type a (long size, const void* data) pair. */
#pragma once

#include <stdarg.h>

#include <CoreServices/AE/AEDataModel.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef UInt32 AEBuildErrorCode;
enum {
  aeBuildSyntaxNoErr = 0,
  aeBuildSyntaxBadToken = 1,
  aeBuildSyntaxBadEOF = 2,
  aeBuildSyntaxNoEOF = 3,
  aeBuildSyntaxBadNegative = 4,
  aeBuildSyntaxMissingQuote = 5,
  aeBuildSyntaxBadHex = 6,
  aeBuildSyntaxOddHex = 7,
  aeBuildSyntaxNoCloseHex = 8,
  aeBuildSyntaxUncoercedHex = 9,
  aeBuildSyntaxNoCloseString = 10,
  aeBuildSyntaxBadDesc = 11,
  aeBuildSyntaxBadData = 12,
  aeBuildSyntaxNoCloseParen = 13,
  aeBuildSyntaxNoCloseBracket = 14,
  aeBuildSyntaxNoCloseBrace = 15,
  aeBuildSyntaxNoKey = 16,
  aeBuildSyntaxNoColon = 17,
  aeBuildSyntaxCoercedList = 18,
  aeBuildSyntaxUncoercedDoubleAt = 19
};

/* Where a build stopped: fErrorPos is the byte offset into the format string. */
typedef struct AEBuildError {
  AEBuildErrorCode fError;
  UInt32 fErrorPos;
} AEBuildError;

OSStatus AEBuildDesc(AEDesc* dst, AEBuildError* error, const char* src, ...);
OSStatus vAEBuildDesc(AEDesc* dst, AEBuildError* error, const char* src, va_list args);

OSStatus AEBuildParameters(AppleEvent* event, AEBuildError* error, const char* format, ...);
OSStatus vAEBuildParameters(AppleEvent* event, AEBuildError* error, const char* format,
                            va_list args);

OSStatus AEBuildAppleEvent(AEEventClass theClass, AEEventID theID, DescType addressType,
                           const void* addressData, Size addressLength, SInt16 returnID,
                           SInt32 transactionID, AppleEvent* result, AEBuildError* error,
                           const char* paramsFmt, ...);
OSStatus vAEBuildAppleEvent(AEEventClass theClass, AEEventID theID, DescType addressType,
                            const void* addressData, Size addressLength, SInt16 returnID,
                            SInt32 transactionID, AppleEvent* result, AEBuildError* error,
                            const char* paramsFmt, va_list args);

#ifdef __cplusplus
}
#endif
