// How the scripted companion writes down what it receives: one JSON object per line,
//   {"class":"Qbrk","id":"Qscr",
//    "attributes":[{"key":"evcl","type":"type","hex":"..."}, ...],
//    "parameters":[{"key":"----","type":"null","length":0,"hex":""}, ...]}
// with every attribute and parameter in the order the event holds them, its length, and its
// data as the receiving process sees it (numbers in host order, text as it came), in lowercase
// hex; data longer than a limit is given by its SHA-256 ("sha256", lowercase hex) instead, so
// that a 50 MB message does not become 100 MB of record. The companion's own start is the line
// {"started":PID}.
#pragma once

#include <CoreServices/CoreServices.h>

#include <cstddef>
#include <limits>
#include <string>

namespace scripted {

// The event as one JSON line (without the newline); an event that cannot be flattened is
// written with an "error" member instead of its contents.
std::string describeEvent(const AppleEvent& event,
                          std::size_t hexLimit = std::numeric_limits<std::size_t>::max());

// Four characters, high byte first.
std::string fourCharCodeText(FourCharCode code);

} // namespace scripted
