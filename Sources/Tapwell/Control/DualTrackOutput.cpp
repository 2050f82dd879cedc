#include "Tapwell/Control/DualTrackOutput.h"

#include "Platform/RecorderError.h"
#include "Tapwell/Configuration/RecorderDualTrackMode.h"
#include "Tapwell/Control/RecordedFile.h"
#include "Tapwell/Control/RouteGap.h"

namespace tapwell {

DualTrackOutput::DualTrackOutput(const Services& services, const std::string& outputPath,
                                 RecorderUploadLayout layout, double mixBusSampleRateHz,
                                 const MonoPcm16WavFileWriter::OnBytes& onBytes)
    : services_(services),
      outputPath_(outputPath),
      layout_(layout),
      mixBusSampleRateHz_(mixBusSampleRateHz),
      log_(services.streams, "mic-debug"),
      files_(DualTrackCaptureFiles::besideOutput(outputPath)) {
    log_.line("dual-track mode: .capture_*.wav → merge on stop → upload_audio.m4a");
    files_.setAsideLeftOvers(log_);
    session_ = DualTrackPcmWavCaptureSession::create(
        {services.files, services.converters, services.queues, services.clock, services.streams},
        files_.paths, mixBusSampleRateHz, onBytes);
    receiver_ = session_;
    try {
        session_->startWriters();
    } catch (const RecorderError&) {
        abandon();
        throw;
    }
}

void DualTrackOutput::microphoneWillRestart() {
    if (!micGapStartMonotonic_) micGapStartMonotonic_ = services_.clock.hostTicks();
}

void DualTrackOutput::microphoneDidRestart() {
    session_->resetMicrophonePathForRouteChange();
    if (!micGapStartMonotonic_) return;
    session_->insertMicrophoneSilenceForRouteGap(
        silenceSamplesMach(*micGapStartMonotonic_, services_.clock.hostTicks(), mixBusSampleRateHz_,
                           services_.clock.timebase()));
    micGapStartMonotonic_.reset();
}

std::optional<std::int64_t> DualTrackOutput::finish() {
    session_->logDiagnosticsAfterStopCapture();
    try {
        session_->finalizeWritersSync();
        merge();
    } catch (const RecorderError& error) {
        log_.line("dual-track merge failed: " + error.description());
        log_.line("dual-track: what was captured is kept in \"" + files_.paths.systemWav +
                  "\" and \"" + files_.paths.micWav + "\"");
        throw;
    }
    const RecordedFile file = RecordedFile::at(outputPath_);
    log_.line("dual-track merge finished: " + file.description());
    if (file.exists) removeDualTrackCaptureWavsUnlessKept();
    return file.sizeBytes;
}

void DualTrackOutput::merge() {
    DualTrackWavMergeAndEncode(
        {services_.writers, services_.queues, services_.clock, services_.streams})
        .merge(files_.paths, outputPath_, session_->captureMeta(), layout_);
}

void DualTrackOutput::removeDualTrackCaptureWavsUnlessKept() const {
    if (!RecorderDualTrackMode::keepCaptureWavAfterMerge(services_.environment)) files_.remove();
}

void DualTrackOutput::abandon() {
    session_->setCaptureStarted(false);
    try {
        session_->finalizeWritersSync();
    } catch (const RecorderError&) {
        // The files go anyway.
    }
    files_.remove();
}

}  // namespace tapwell
