#pragma once

#include <MacTypes.h>

namespace quellbark {

// A four-character code from its characters, first character in the high byte.
constexpr OSType fourCharCode(char const (&text)[5]) {
  return (OSType(static_cast<unsigned char>(text[0])) << 24) |
         (OSType(static_cast<unsigned char>(text[1])) << 16) |
         (OSType(static_cast<unsigned char>(text[2])) << 8) |
         OSType(static_cast<unsigned char>(text[3]));
}

// The application's identity; the plug-in finds it by the signature and reads its log level
// from the preferences domain named by the bundle identifier.
inline constexpr OSType kQuellbarkSignature = fourCharCode("Qbrk");
inline constexpr char const* kBundleIdentifier = "com.quellbark.Quellbark";
inline constexpr char const* kLogLevelKey = "ThunderbirdLogLevel";

// The events the application answers, all of class kQuellbarkSignature.
inline constexpr OSType kScoreEvent = fourCharCode("Qscr");
inline constexpr OSType kLearnSpamEvent = fourCharCode("addS");
inline constexpr OSType kLearnGoodEvent = fourCharCode("addG");

// Their parameters.
inline constexpr OSType kMessageParam = fourCharCode("Mess");
inline constexpr OSType kDecodedParam = fourCharCode("bDec");
inline constexpr OSType kRFC822Param = fourCharCode("bRFC");
inline constexpr OSType kSeparatorParam = fourCharCode("sSEP");

} // namespace quellbark
