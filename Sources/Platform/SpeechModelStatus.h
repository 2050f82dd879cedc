#pragma once

namespace tapwell {

/// Whether the model that a transcriber needs is on this machine.
enum class SpeechModelStatus {
    unsupported,  ///< there is none for the locale, and none can be installed
    missing,      ///< it can be installed
    installed,
};

}  // namespace tapwell
