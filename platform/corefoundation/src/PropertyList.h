// Property lists (XML or binary, through libplist) to and from CF objects.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <sys/stat.h>

namespace cf {

// The object in a serialized property list, or NULL when the bytes are not one.
CFPropertyListRef propertyListFromBytes(const char* bytes, size_t size);

// The XML form; false when the object (or something inside it) has no property-list form.
bool propertyListToXML(CFPropertyListRef object, std::string& xml);

} // namespace cf
