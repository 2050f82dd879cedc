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
/// The format that the analyzer likes best is 16-bit mono at this rate in Hz; 0 for none.
void fakeSpeechSetBestSampleRate(double sampleRate);
/// It is this one. `commonFormat`: 0 other, 1 float 32, 2 float 64, 3 integer 16, 4 integer 32.
void fakeSpeechSetBestFormat(uint32_t commonFormat, double sampleRate, uint32_t channels,
                             bool isInterleaved);
/// Lets "request", "install", "start" or "finalize" throw, or "cancel" leave the results open.
void fakeSpeechFail(const char* call, const char* error);

/// A result of the transcriber that was made last.
void fakeSpeechSay(const char* text, bool isFinal);
void fakeSpeechBreakResults(const char* error);

/// What was asked of the system, in order.
void fakeSpeechCalls(void* context, void (*take)(void* context, const char* call));
/// Every sample that an analyzer took from its input, frame by frame, as the number that it is.
void fakeSpeechHeard(void* context, void (*take)(void* context, double sample));
/// What the buffers were like in which it came: "int16 x1", "float32 x2 interleaved", one a buffer.
void fakeSpeechHeardForms(void* context, void (*take)(void* context, const char* form));
/// Transcribers, analyzers and buffers that nobody has released.
int64_t fakeSpeechLivingCount(void);

#ifdef __cplusplus
}
#endif
