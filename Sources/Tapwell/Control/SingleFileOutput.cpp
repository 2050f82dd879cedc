#include "Tapwell/Control/SingleFileOutput.h"

#include "Platform/RecorderError.h"
#include "Tapwell/Control/RecordedFile.h"

namespace tapwell {
namespace {

TrackSinkEncoding encodingFor(RecorderUploadLayout layout) {
    return layout == RecorderUploadLayout::stereoLR ? TrackSinkEncoding::mixedStereoFloatPCMToAAC
                                                    : TrackSinkEncoding::mixedMonoFloatPCMToAAC;
}

}  // namespace

SingleFileOutput::SingleFileOutput(const Services& services, const std::string& outputPath,
                                   RecorderUploadLayout layout, double mixBusSampleRateHz,
                                   TrackSink::OnBytes onBytes)
    : outputPath_(outputPath),
      log_(services.streams, "mic-debug"),
      trackSink_(TrackSink::create({services.writers, services.queues, services.streams},
                                   outputPath, "mixed", encodingFor(layout), std::move(onBytes))) {
    if (RecorderDebugMixedWavSink::shouldRecordDebugWav(services.environment) &&
        layout == RecorderUploadLayout::monoMix)
        debugWavSink_ = std::make_shared<RecorderDebugMixedWavSink>(
            services.files, besideOutput(outputPath, "upload_audio_debug.wav"),
            static_cast<std::uint32_t>(mixBusSampleRateHz), log_.withArea("debug-wav"));
    router_ = MixedPCMFeedRouter::create(
        {services.queues, services.clock, services.converters, services.streams}, trackSink_,
        mixBusSampleRateHz, layout, debugWavSink_);
    receiver_ = router_;
}

std::optional<std::int64_t> SingleFileOutput::finish() {
    router_->logDiagnosticsAfterStopCapture();
    router_->flushMixedTail();
    finishDebugWav();
    if (auto task = trackSink_->finishWriter()) task->await();
    const RecordedFile file = RecordedFile::at(outputPath_);
    log_.line("after finishWriting: upload " + file.description());
    return file.sizeBytes;
}

/// The recording does not suffer when its diagnosis cannot be written.
void SingleFileOutput::finishDebugWav() {
    if (!debugWavSink_) return;
    try {
        debugWavSink_->finalizeSync();
    } catch (const RecorderError& error) {
        log_.line(error.description());
    }
}

}  // namespace tapwell
