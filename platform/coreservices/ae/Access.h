// Shared pieces of the public descriptor functions.
#pragma once

#include "Storage.h"

namespace ae {

// Copies a descriptor's data (coerced to `desired` unless typeWildCard) into a caller buffer:
// at most maximumSize bytes, the full size reported in *actualSize.
OSErr readInto(View v, DescType desired, DescType* actualType, void* dataPtr, Size maximumSize,
               Size* actualSize);
// A strict coercion into a fresh C descriptor (null on failure).
OSErr coerceInto(View v, DescType desired, AEDesc* result);
// The entries that param/key calls work on: record fields or event parameters.
OSErr keyedItems(const AEDesc* d, const std::vector<Entry>*& items);
OSErr keyedItems(AEDesc* d, std::vector<Entry>*& items);
// Data bytes of any descriptor: scalars as held, composites as their flattened data part.
Bytes dataBytes(View v);
std::uint64_t dataSize(View v);

} // namespace ae
