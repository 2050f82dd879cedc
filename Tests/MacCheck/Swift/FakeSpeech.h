#pragma once

#include <stdbool.h>
#include <stdint.h>

/// What a test tells the Swift module that stands for the system's Speech, and asks it. Any thread.
#ifdef __cplusplus
extern "C" {
#endif

/// Supports no locale, has no model, names no format, fails nothing.
void fakeSpeechReset(void);
void fakeSpeechSupportLocale(const char* locale);
/// 0 unsupported, 1 supported, 2 downloading, 3 installed.
void fakeSpeechSetStatus(int32_t status);
/// Of the format that the analyzer likes best, in Hz; 0 for none.
void fakeSpeechSetBestSampleRate(double sampleRate);
/// Lets "request", "install", "start" or "finalize" throw, or "cancel" leave the results open.
void fakeSpeechFail(const char* call, const char* error);

/// A result of the transcriber that was made last.
void fakeSpeechSay(const char* text, bool isFinal);
void fakeSpeechBreakResults(const char* error);

/// What was asked of the system, in order.
void fakeSpeechCalls(void* context, void (*take)(void* context, const char* call));
/// Every sample that an analyzer took from its input.
void fakeSpeechHeard(void* context, void (*take)(void* context, int16_t sample));
/// Transcribers, analyzers and buffers that nobody has released.
int64_t fakeSpeechLivingCount(void);

#ifdef __cplusplus
}
#endif
