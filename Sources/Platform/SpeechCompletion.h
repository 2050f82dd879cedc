#pragma once

#include "Platform/RecorderError.h"

#include <functional>

namespace tapwell {

/// The end of an operation of a speech engine: null when it succeeded, otherwise what failed, valid
/// during the call.
using SpeechCompletion = std::function<void(const RecorderError* error)>;

}  // namespace tapwell
