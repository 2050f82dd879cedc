#pragma once

#include "Platform/Environment.h"
#include "Tapwell/Configuration/RecorderUploadLayout.h"
#include "Tapwell/Control/RecordingOutput.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/MixBus/MixedPCMFeedRouter.h"
#include "Tapwell/Outputs/RecorderDebugMixedWavSink.h"
#include "Tapwell/Outputs/TrackSink.h"

#include <string>

namespace tapwell {

/// Mixes live, into one AAC file.
class SingleFileOutput final : public RecordingOutput {
public:
    struct Services {
        AssetWriterFactory& writers;
        PrivateFileFactory& files;
        SampleRateConverterFactory& converters;
        QueueFactory& queues;
        Clock& clock;
        Environment& environment;
        StandardStreams& streams;
    };

    /// Creates the file at `outputPath`. `onBytes` gets the sizes of what is handed to the encoder.
    /// Throws RecorderError.
    SingleFileOutput(const Services& services, const std::string& outputPath,
                     RecorderUploadLayout layout, double mixBusSampleRateHz,
                     TrackSink::OnBytes onBytes);

    const std::shared_ptr<CaptureReceiver>& receiver() const override { return receiver_; }
    std::optional<std::int64_t> finish() override;

private:
    void finishDebugWav();

    const std::string outputPath_;
    const Log log_;
    const std::shared_ptr<TrackSink> trackSink_;
    std::shared_ptr<RecorderDebugMixedWavSink> debugWavSink_;
    std::shared_ptr<MixedPCMFeedRouter> router_;
    std::shared_ptr<CaptureReceiver> receiver_;  ///< the router
};

}  // namespace tapwell
