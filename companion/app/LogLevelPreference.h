// Reading and writing the plug-in's log level in Quellbark's preferences.
#pragma once

#include <optional>

namespace quellbark {

// The plug-in's log threshold, kept in this application's preferences ("ThunderbirdLogLevel"
// in the domain com.quellbark.Quellbark): 10 debug, 20 info, 40 errors only.
bool writeLogLevel(long level);
std::optional<long> readLogLevel();

} // namespace quellbark
