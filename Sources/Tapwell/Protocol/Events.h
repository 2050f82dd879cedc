#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tapwell {

// The events that go to the parent process. Each record becomes one JSON object; see EventEmitter.
// Strings are UTF-8.

/// A recording is running.
struct StartedEvent {
    std::string outputPath;  ///< as the start command gave it
};

/// Answer to "status".
struct StatusEvent {
    std::string state;  ///< "recording" or "idle"
};

/// A stop has finished writing the recording.
struct FinalizedEvent {
    std::string outputPath;
    std::int64_t bytes = 0;       ///< size of the finished file
    std::int64_t durationMs = 0;  ///< recorded time
};

/// Answer to the permission commands. Values: "granted", "denied" or "not-determined".
struct PermissionsEvent {
    std::string microphone;
    std::string systemAudio;
};

/// A reported failure. `code` is for programs, `message` for people.
struct ErrorEvent {
    std::string code;
    std::string message;
};

/// Live transcription.
struct TranscriptEvent {
    std::string text;
    bool isFinal = false;                ///< false: a later event replaces this text
    std::optional<std::string> speaker;  ///< "You" or "Others"; left out when absent
};

// Codes of ErrorEvent.
inline constexpr const char* kInvalidCommand = "INVALID_COMMAND";
inline constexpr const char* kRecorderAlreadyRunning = "RECORDER_ALREADY_RUNNING";
inline constexpr const char* kRecorderMicPermissionDenied = "RECORDER_MIC_PERMISSION_DENIED";
inline constexpr const char* kPermissionDeniedSystemAudio = "PERMISSION_DENIED_SYSTEM_AUDIO";
inline constexpr const char* kDeviceNotAvailable = "DEVICE_NOT_AVAILABLE";
inline constexpr const char* kRecorderStartFailed = "RECORDER_START_FAILED";
inline constexpr const char* kRecorderFinalizeFailed = "RECORDER_FINALIZE_FAILED";

}  // namespace tapwell
