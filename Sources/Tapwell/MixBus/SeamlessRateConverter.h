#pragma once

#include "Platform/AudioFormat.h"
#include "Platform/PcmBuffer.h"
#include "Platform/SampleRateConverter.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tapwell {

/// Takes one stream through the host's sample-rate converter so that no joint can be heard: where
/// the stream passes from a plain copy to the converter, where its rate wanders, and where another
/// format needs another converter.
///
/// Not synchronised: used from one queue only.
class SeamlessRateConverter {
public:
    /// `output`: mono 32-bit float. The factory must outlive the converter.
    SeamlessRateConverter(SampleRateConverterFactory& factory, const AudioFormat& output)
        : dstFormat_(output), factory_(factory) {}

    /// Whether the stream has come to the host's converter, with which it stays.
    bool isInUse() const { return converter_ != nullptr; }

    /// Tells of samples at the output rate that were given out without this converter. It will go
    /// on from them.
    void remember(std::span<const float> copied);

    /// Converts the next buffer, whose label may be off: `trueFormat` has the rate at which it
    /// really runs. The result holds what the input so far determines. Throws RecorderError (code
    /// 10); the buffer is lost then, the stream goes on.
    std::vector<float> convert(const PcmBuffer& buffer, const AudioFormat& trueFormat);

    /// Output frames that the input so far amounts to and that have not been given out; 0 when not
    /// in use.
    double heldBackFrames() const;
    /// Whether no output only means that the filter has not seen enough input yet.
    bool isFilling() const;

    /// What the filter still holds, at the end of the stream. The next buffer begins a new stream.
    std::vector<float> finish();
    /// The same, without the filter's rest.
    void reset();

private:
    double outputRate() const { return dstFormat_.sampleRate(); }
    std::vector<float> ensureConverter(const AudioFormat& label, const AudioFormat& trueFormat);
    bool tryMakeConverter(const AudioFormat& format);
    void primeWithHistory(const AudioFormat& format);
    std::vector<float> runConverter(const PcmBuffer& source);
    PcmBuffer makeOutput(std::uint32_t inputFrames) const;
    std::vector<float> drainConverterTail();
    void dropDiscardable(std::vector<float>& samples);

    const AudioFormat dstFormat_;
    SampleRateConverterFactory& factory_;
    std::optional<AudioFormat> srcFormat_;  ///< what converter_ was made from
    std::unique_ptr<SampleRateConverter> converter_;
    std::vector<float> recentCopies_;        ///< the last samples of the plain copy
    std::size_t outputFramesToDiscard_ = 0;  ///< given out before, by the plain copy
};

}  // namespace tapwell
