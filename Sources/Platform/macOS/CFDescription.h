#pragma once

#include "Platform/PropertyDictionary.h"
#include "Platform/macOS/CFReference.h"

namespace tapwell {

/// The same description as a dictionary object: text as strings, flags as the numbers 0 and 1,
/// lists as arrays of dictionaries.
CFReference<CFDictionaryRef> makeCFDictionary(const PropertyDictionary& description);

}  // namespace tapwell
