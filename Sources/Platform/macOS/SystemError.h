#pragma once

#include "Platform/RecorderError.h"

#include <string>

@class NSError;

namespace tapwell {

/// The system's own description of an error; says so when there is none.
std::string describe(NSError* error);

/// The same error in our type: domain, code and description are the system's.
RecorderError recorderError(NSError* error);

}  // namespace tapwell
