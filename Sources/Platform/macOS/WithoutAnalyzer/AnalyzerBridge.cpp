#include "Platform/macOS/AnalyzerBridge.h"

// Built without a Swift compiler that knows the system's speech analyzer: there is none, and nobody
// calls what follows the first function.

bool tapwellAnalyzerIsAvailable(void) {
    return false;
}

void tapwellAnalyzerSupportsLocale(const char*, void* context, TapwellSupportAnswer answer) {
    answer(context, false);
}

TapwellTranscriber* tapwellTranscriberCreate(const char*) {
    return nullptr;
}

void tapwellTranscriberRelease(TapwellTranscriber*) {}

void tapwellTranscriberStatus(TapwellTranscriber*, void* context, TapwellStatusAnswer answer) {
    answer(context, 0);
}

void tapwellTranscriberInstall(TapwellTranscriber*, void* context, TapwellCompletion completion) {
    completion(context, "this build has no speech analyzer");
}

void tapwellTranscriberReadResults(TapwellTranscriber*, void* context, TapwellResultHandler,
                                   TapwellEndHandler onEnd) {
    onEnd(context, "this build has no speech analyzer");
}

TapwellAnalyzer* tapwellAnalyzerCreate(TapwellTranscriber*) {
    return nullptr;
}

void tapwellAnalyzerRelease(TapwellAnalyzer*) {}

void tapwellAnalyzerFormat(TapwellAnalyzer*, void* context, TapwellFormatAnswer answer) {
    answer(context, 0);
}

bool tapwellAnalyzerYield(TapwellAnalyzer*, const float*, int64_t, double) {
    return false;
}

void tapwellAnalyzerFinishInput(TapwellAnalyzer*) {}

void tapwellAnalyzerStart(TapwellAnalyzer*, void* context, TapwellCompletion completion) {
    completion(context, "this build has no speech analyzer");
}

void tapwellAnalyzerFinalize(TapwellAnalyzer*, void* context, TapwellCompletion completion) {
    completion(context, "this build has no speech analyzer");
}
