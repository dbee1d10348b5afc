// The built-in coercions between descriptor types.
#pragma once

#include "Storage.h"

namespace ae {

enum class CompositeRule {
  Strict,   // lists, records and events only as themselves, 'list' or '****'
  Retypable // records may also take any type that is not a scalar type
};

// Coerces a descriptor to `to` (typeWildCard: an unchanged copy). errAECoercionFail when the
// value cannot be represented in the wanted type.
OSErr coerce(View from, DescType to, CompositeRule rule, Value& out);

} // namespace ae
