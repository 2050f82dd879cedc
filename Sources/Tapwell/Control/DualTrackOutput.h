#pragma once

#include "Platform/Environment.h"
#include "Tapwell/Configuration/RecorderUploadLayout.h"
#include "Tapwell/Control/DualTrackCaptureFiles.h"
#include "Tapwell/Control/RecordingOutput.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Outputs/DualTrackPcmWavCaptureSession.h"
#include "Tapwell/Outputs/DualTrackWavMergeAndEncode.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tapwell {

/// Writes the two sources into files of their own, and at the end merges and encodes these.
class DualTrackOutput final : public RecordingOutput {
public:
    struct Services {
        AssetWriterFactory& writers;
        PrivateFileFactory& files;
        SampleRateConverterFactory& converters;
        QueueFactory& queues;
        const Clock& clock;
        Environment& environment;
        StandardStreams& streams;
    };

    /// Creates the capture files beside `outputPath`, having renamed those that were there.
    /// `onBytes` as the session's. Throws RecorderError; nothing is left behind then.
    DualTrackOutput(const Services& services, const std::string& outputPath,
                    RecorderUploadLayout layout, double mixBusSampleRateHz,
                    const MonoPcm16WavFileWriter::OnBytes& onBytes);

    const std::shared_ptr<CaptureReceiver>& receiver() const override { return receiver_; }
    bool reportsRouteCaptureRate() const override { return true; }
    void microphoneWillRestart() override;
    void microphoneDidRestart() override;
    void captureWillStop() override { session_->setCaptureStarted(false); }
    std::optional<std::int64_t> finish() override;
    void abandon() override;

private:
    void merge();
    void removeDualTrackCaptureWavsUnlessKept() const;

    const Services services_;
    const std::string outputPath_;
    const RecorderUploadLayout layout_;
    const double mixBusSampleRateHz_;
    const Log log_;
    const DualTrackCaptureFiles files_;
    std::shared_ptr<DualTrackPcmWavCaptureSession> session_;
    std::shared_ptr<CaptureReceiver> receiver_;  ///< the session

    /// When the microphone's path went away, in host ticks. Of the engine's restart queue.
    std::optional<std::uint64_t> micGapStartMonotonic_;
};

}  // namespace tapwell
