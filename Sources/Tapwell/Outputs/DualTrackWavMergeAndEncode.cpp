#include "Tapwell/Outputs/DualTrackWavMergeAndEncode.h"

#include "Platform/RecorderError.h"
#include "RecorderMixBus/MixMath.h"
#include "RecorderMixBus/StereoMergeMath.h"
#include "Tapwell/Outputs/MergeTrack.h"
#include "Tapwell/Outputs/MixedPCMSampleBuilder.h"
#include "Tapwell/Outputs/StereoPCMSampleBuilder.h"
#include "Tapwell/Outputs/TrackSink.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <vector>

namespace tapwell {
namespace {

constexpr int kBothEmpty = 90;
constexpr int kBothSilent = 95;
constexpr std::int64_t kChunkFrames = 4096;
constexpr double kLongestPadSeconds = 30;
constexpr double kMaximumTimescale = 192000;
/// Enough to keep an encoder busy while the next chunk is read.
constexpr std::int64_t kChunksAhead = 16;

using Samples = std::vector<float>;

/// −32768 becomes a little less than −1.
Samples floatSamples(const std::vector<std::int16_t>& pcm) {
    Samples samples(pcm.size());
    std::ranges::transform(pcm, samples.begin(), [](std::int16_t sample) {
        return static_cast<float>(sample) / 32767.0F;
    });
    return samples;
}

/// Both tracks on the output's timeline.
struct Tracks {
    MergeTrack system;
    MergeTrack mic;
    bool systemSounds;
    bool micSounds;

    std::int64_t endFrame() const { return std::max(mic.endFrame(), system.endFrame()); }

    /// A track alone keeps its level.
    Samples mono(std::int64_t start, std::int64_t count) {
        if (!systemSounds && !micSounds) return Samples(static_cast<std::size_t>(count));
        if (!micSounds) return floatSamples(system.read(start, count));
        if (!systemSounds) return floatSamples(mic.read(start, count));
        return MixMath::equalWeightMixAndClip(floatSamples(system.read(start, count)),
                                              floatSamples(mic.read(start, count)));
    }
    Samples stereo(std::int64_t start, std::int64_t count) {
        return StereoMergeMath::interleaveStereoLR(floatSamples(system.read(start, count)),
                                                   floatSamples(mic.read(start, count)));
    }
};

/// Makes a chunk of the output, interleaved, from the output frame where it starts.
using MakeChunk = std::function<Samples(std::int64_t start, std::int64_t count)>;

/// Hands all chunks to the sink and finishes its file.
template <typename Builder>
void encode(const std::shared_ptr<TrackSink>& sink, double rate, std::int64_t totalFrames,
            const MakeChunk& makeChunk) {
    Builder builder(rate);
    const auto timescale = static_cast<std::int32_t>(std::min(rate, kMaximumTimescale));
    for (std::int64_t start = 0; start < totalFrames; start += kChunkFrames) {
        const Samples chunk = makeChunk(start, std::min(kChunkFrames, totalFrames - start));
        sink->append(builder.makeSampleBuffer(chunk, MediaTime::make(start, timescale)));
        if (const auto error = sink->writerError()) throw *error;
        sink->awaitRoom(kChunksAhead);
    }
    auto task = sink->finishWriter();
    if (!task) throw RecorderError(0, "dual-track merge: the encoder could not be set up");
    task->await();
    if (const auto error = sink->writerError()) throw *error;
    if (sink->appendFailureCount() > 0)
        throw RecorderError(0, "dual-track merge: the encoder refused part of the audio");
}

}  // namespace

void DualTrackWavMergeAndEncode::merge(const DualTrackWavPaths& inputs,
                                       const std::string& outputM4a,
                                       const DualTrackCaptureMeta& meta,
                                       RecorderUploadLayout layout) const {
    MonoPcm16WavReader system(inputs.systemWav);
    MonoPcm16WavReader mic(inputs.micWav);
    const double rate = system.sampleRate();
    const std::int64_t systemSound = system.firstNonSilentFrameIndex();
    const std::int64_t micSound = mic.firstNonSilentFrameIndex();
    const Pads pads =
        computeAlignmentPads(meta, services_.clock, rate, systemSound, micSound, mic.sampleRate());
    Tracks tracks{MergeTrack(system, pads.padSys, rate), MergeTrack(mic, pads.padMic, rate),
                  systemSound < system.frameCount(), micSound < mic.frameCount()};
    if (tracks.endFrame() == 0)
        throw RecorderError(kBothEmpty, "dual-track merge: both WAVs empty");

    std::error_code ignored;
    std::filesystem::remove(outputM4a, ignored);
    const auto makeSink = [&](const char* label, TrackSinkEncoding encoding) {
        return TrackSink::create({services_.writers, services_.queues, services_.streams},
                                 outputM4a, label, encoding, [](std::int64_t) {});
    };
    if (layout == RecorderUploadLayout::monoMix) {
        encode<MixedPCMSampleBuilder>(
            makeSink("dualmerge-mono", TrackSinkEncoding::mixedMonoFloatPCMToAAC), rate,
            tracks.endFrame(),
            [&](std::int64_t start, std::int64_t count) { return tracks.mono(start, count); });
        return;
    }
    if (!tracks.systemSounds && !tracks.micSounds)
        throw RecorderError(kBothSilent, "dual-track stereo merge: both WAVs silent");
    encode<StereoPCMSampleBuilder>(
        makeSink("dualmerge-stereo", TrackSinkEncoding::mixedStereoFloatPCMToAAC), rate,
        tracks.endFrame(),
        [&](std::int64_t start, std::int64_t count) { return tracks.stereo(start, count); });
}

DualTrackWavMergeAndEncode::Pads DualTrackWavMergeAndEncode::computeAlignmentPads(
    const DualTrackCaptureMeta& meta, const Clock& clock, double sampleRate,
    std::int64_t firstSystemSound, std::int64_t firstMicSound, double micRate) {
    const auto longest = static_cast<std::int64_t>(sampleRate * kLongestPadSeconds);
    std::int64_t micLater = 0;
    if (meta.micFirstHostAbsolute && meta.systemFirstHostAbsolute) {
        const bool micIsLater = *meta.micFirstHostAbsolute >= *meta.systemFirstHostAbsolute;
        const std::uint64_t ticks =
            micIsLater ? *meta.micFirstHostAbsolute - *meta.systemFirstHostAbsolute
                       : *meta.systemFirstHostAbsolute - *meta.micFirstHostAbsolute;
        const double frames = std::min(clock.hostSeconds(ticks) * sampleRate + 0.5, 1e15);
        micLater = static_cast<std::int64_t>(frames) * (micIsLater ? 1 : -1);
    } else {
        const double micAtOutputRate = static_cast<double>(firstMicSound) * sampleRate / micRate;
        micLater = static_cast<std::int64_t>(std::floor(micAtOutputRate)) - firstSystemSound;
    }
    if (micLater > 0) return {0, std::min(longest, micLater)};
    return {std::min(longest, -micLater), 0};
}

}  // namespace tapwell
