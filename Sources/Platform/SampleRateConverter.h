#pragma once

#include "Platform/AudioFormat.h"
#include "Platform/PcmBuffer.h"

#include <functional>
#include <memory>
#include <string>

namespace tapwell {

/// Converts one continuous stream of PCM to another rate and to mono 32-bit float, pulling its
/// input in slices.
///
/// The stream goes on across calls: filter history and phase carry over, and the samples do not
/// depend on how the input was cut into buffers or slices. Output sample k lies at the time of
/// input position k × source rate ÷ target rate, counted from the first frame ever handed in: the
/// filter's delay shows as output that comes later, never as output that is shifted.
///
/// Channels are averaged. One thread at a time; not real-time safe.
class SampleRateConverter {
public:
    /// What the input block answers.
    enum class InputStatus {
        haveData,     ///< the returned buffer holds at least one frame
        noDataNow,    ///< nothing left for now
        endOfStream,  ///< the same, said by a source that hands out one buffer at a time
    };
    enum class OutputStatus { haveData, inputRanDry, error };

    /// Asked for up to `requestedFrames` frames (0: as many as it has). The returned buffer must be
    /// in the source format and stay valid until the next call of the block or the return of
    /// `convert`.
    using InputBlock =
        std::function<const PcmBuffer*(std::uint32_t requestedFrames, InputStatus& outStatus)>;

    virtual ~SampleRateConverter() = default;

    /// Fills `output` (in the target format) from its start with what the input determines, pulling
    /// until the output is full or the input has no more, and sets its frame length. Output that
    /// did not fit comes with the next call, also when that call's block has no data. Neither kind
    /// of "no more" ends the stream or cuts the filter's tail. On `error`, `outError` says what
    /// failed.
    virtual OutputStatus convert(PcmBuffer& output, const InputBlock& input,
                                 std::string& outError) = 0;

    /// Moves the source rate, in Hz, of the frames handed in from now on without a break in phase
    /// or history. A change of at most half a hertz since the last rate taken up is taken as
    /// measuring noise and ignored. False when the rate is too far from the one the converter was
    /// made for (more than 0.5 %, or a host that cannot): then nothing has changed and a new
    /// converter is needed.
    virtual bool adjustSourceSampleRate(double sampleRate) = 0;

    /// Output frames that the input handed in so far amounts to and that have not been given out:
    /// the filter's present delay.
    virtual double heldBackFrames() const = 0;

    /// A bound of `heldBackFrames` between calls for a converter in good order. One that holds back
    /// more does not work for its formats.
    virtual double maximumHeldBackFrames() const = 0;

    /// The end of the stream: puts what the filter still holds into `output` and sets its frame
    /// length; to be called until that is 0. Afterwards, over the whole stream, the number of
    /// output frames is the number of input frames × target rate ÷ source rate, within one. No
    /// `convert` may follow.
    virtual OutputStatus finish(PcmBuffer& output, std::string& outError) = 0;
};

/// Makes converters. Any thread.
class SampleRateConverterFactory {
public:
    virtual ~SampleRateConverterFactory() = default;

    /// `source`: 32-bit float or 16-bit integer, any channel count, either interleaving, any rate.
    /// `target`: mono 32-bit float. Null when the pair is not supported.
    virtual std::unique_ptr<SampleRateConverter> makeConverter(const AudioFormat& source,
                                                               const AudioFormat& target) = 0;
};

}  // namespace tapwell
