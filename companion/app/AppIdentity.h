// Quellbark's bundle identifier and the preference key the plug-in's log level is kept under.
#pragma once

#include <QuellbarkEvents.h>

namespace quellbark {

// The application's identity beside its signature (kQuellbarkSignature): the plug-in reads its
// log level from the preferences domain named by the bundle identifier.
inline constexpr const char* kBundleIdentifier = "com.quellbark.Quellbark";
inline constexpr const char* kLogLevelKey = "ThunderbirdLogLevel";

} // namespace quellbark
