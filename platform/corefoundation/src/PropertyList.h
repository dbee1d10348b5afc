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

// Reads a regular file of at most maxSize bytes; false if it cannot be read. The file's
// identity (from the descriptor the bytes were read through) goes to *info when not NULL.
bool readSmallFile(const std::string& path, size_t maxSize, std::string& bytes, struct stat* info);

} // namespace cf
