// How the scripted companion writes down what it receives: one JSON object per line,
//   {"class":"Qbrk","id":"Qscr",
//    "attributes":[{"key":"evcl","type":"type","hex":"..."}, ...],
//    "parameters":[{"key":"----","type":"null","hex":""}, ...]}
// with every attribute and parameter in the order the event holds them and its data as the
// receiving process sees it (numbers in host order, text as it came), in lowercase hex. The
// companion's own start is the line {"started":PID}.
#pragma once

#include <CoreServices/CoreServices.h>

#include <string>

namespace scripted {

// The event as one JSON line (without the newline); an event that cannot be flattened is
// written with an "error" member instead of its contents.
std::string describeEvent(const AppleEvent& event);

// Four characters, high byte first.
std::string fourCharCodeText(FourCharCode code);

} // namespace scripted
