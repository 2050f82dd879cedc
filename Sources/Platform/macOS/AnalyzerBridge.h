#pragma once

#include <stdbool.h>
#include <stdint.h>

/// The system's speech analyzer, which only Swift can reach, as C functions. AnalyzerBridge.swift
/// defines them where the compiler knows the analyzer, WithoutAnalyzer/ where it does not.
///
/// `context` pointers are handed back to callbacks, which come on any thread. Strings are UTF-8 and
/// valid during the call. Handles are released once, with the function of their kind.
#ifdef __cplusplus
extern "C" {
#endif

typedef struct TapwellTranscriber TapwellTranscriber;
typedef struct TapwellAnalyzer TapwellAnalyzer;

/// `error` is null when the operation succeeded.
typedef void (*TapwellCompletion)(void* context, const char* error);
typedef void (*TapwellSupportAnswer)(void* context, bool supported);
/// 0 unsupported, 1 missing, 2 installed.
typedef void (*TapwellStatusAnswer)(void* context, int32_t status);
/// `sampleRate` in Hz; 0 when the analyzer names no format.
typedef void (*TapwellFormatAnswer)(void* context, double sampleRate);
typedef void (*TapwellResultHandler)(void* context, const char* text, bool isFinal);
/// The end of a stream of results. No result follows. `error` is null at a regular end.
typedef void (*TapwellEndHandler)(void* context, const char* error);

/// Whether this system and this build have the analyzer. The other functions may be called only
/// then.
bool tapwellAnalyzerIsAvailable(void);

/// Answers once.
void tapwellAnalyzerSupportsLocale(const char* locale, void* context, TapwellSupportAnswer answer);

TapwellTranscriber* tapwellTranscriberCreate(const char* locale);
void tapwellTranscriberRelease(TapwellTranscriber* transcriber);
/// Each answers once.
void tapwellTranscriberStatus(TapwellTranscriber* transcriber, void* context,
                              TapwellStatusAnswer answer);
void tapwellTranscriberInstall(TapwellTranscriber* transcriber, void* context,
                               TapwellCompletion completion);
/// Gives every result to `onResult`, in order, and ends with one call of `onEnd`. At most once.
void tapwellTranscriberReadResults(TapwellTranscriber* transcriber, void* context,
                                   TapwellResultHandler onResult, TapwellEndHandler onEnd);

TapwellAnalyzer* tapwellAnalyzerCreate(TapwellTranscriber* transcriber);
/// Cancels it.
void tapwellAnalyzerRelease(TapwellAnalyzer* analyzer);
/// Answers once. From then on the audio has the form that the system named with the rate, as far
/// as the bridge can write it.
void tapwellAnalyzerFormat(TapwellAnalyzer* analyzer, void* context, TapwellFormatAnswer answer);
/// Copies `frames` mono samples at `sampleRate` Hz into the analyzer's input. Of audio that waits
/// to be read no more than a minute is kept: beyond that the oldest goes until half a minute is
/// left. Returns whether any had to go.
bool tapwellAnalyzerYield(TapwellAnalyzer* analyzer, const float* samples, int64_t frames,
                          double sampleRate);
void tapwellAnalyzerFinishInput(TapwellAnalyzer* analyzer);
/// Each completes once.
void tapwellAnalyzerStart(TapwellAnalyzer* analyzer, void* context, TapwellCompletion completion);
void tapwellAnalyzerFinalize(TapwellAnalyzer* analyzer, void* context,
                             TapwellCompletion completion);

#ifdef __cplusplus
}
#endif
