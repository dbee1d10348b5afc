// Quellbark's bundle identifier, the preference key the plug-in's log level is kept under, and
// the companion's own event.
#pragma once

#include <QuellbarkEvents.h>

namespace quellbark {

// The application's identity beside its signature (kQuellbarkSignature): the plug-in reads its
// log level from the preferences domain named by the bundle identifier.
inline constexpr const char* kBundleIdentifier = "com.quellbark.Quellbark";
inline constexpr const char* kLogLevelKey = "ThunderbirdLogLevel";

// The companion's own event, beside the plug-in's (class kQuellbarkEventClass): commit what the
// running instance has learned, so that `Quellbark status`, reading the word list itself,
// counts all of it. Its reply holds nothing but a failure's 'errn' and 'errs'.
inline constexpr OSType kQuellbarkCommitEvent = FOUR_CHAR_CODE("Qcmt");

} // namespace quellbark
