#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace maccheck {

/// A string object that the caller owns.
CFStringRef makeString(const std::string& text);

/// An object and what it holds as text, keys in alphabetical order: {"name": "x", "private": 1}.
std::string textOfObject(CFTypeRef object);

}  // namespace maccheck
