#include "EndToEnd/RecordingTest.h"
#include "Support/MultiToneFit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <span>
#include <string>
#include <tuple>
#include <vector>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr double toneHz = 997;
constexpr double settlingSeconds = 0.1;
constexpr std::size_t windowSize = 512;

enum class Side { speaker, microphone };
/// Whether the tone begins before the recording or in it.
enum class Onset { before, during };

using Case = std::tuple<int, Side, Onset>;

std::string testName(const testing::TestParamInfo<Case>& info) {
    const auto [rate, side, onset] = info.param;
    return (side == Side::speaker ? "speaker_" : "microphone_") + std::to_string(rate) +
           (onset == Onset::before ? "_from_the_start" : "_from_silence");
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(),
                     values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

/// A steady tone through the server, the recorder and the codec.
class PurityTest : public RecordingTest, public testing::WithParamInterface<Case> {
protected:
    void playTone(Side side, int rate) {
        const double peak = side == Side::speaker ? 0.5 : 0.08;
        const std::vector<float> steady = tone(toneHz, peak, 10, rate);
        audio().play(side == Side::speaker ? TwoSidedSound{steady, silence(10, rate)}
                                           : TwoSidedSound{silence(10, rate), steady});
    }

    DecodedAudio recordTone(Side side, Onset onset, int rate, int attempt) {
        const auto path = file(std::to_string(attempt) + ".m4a");
        audio().stopPlaying();
        if (onset == Onset::before) playTone(side, rate);
        start(path);
        if (onset == Onset::during) {
            letPass(200ms);
            playTone(side, rate);
        }
        letPass(4s);
        stop(path);
        return decoded(path);
    }
};

/// The tone after it has settled. The last frames fade where one source ended before the other.
std::span<const float> steadyPart(const DecodedAudio& audio) {
    const auto loud = [](float sample) { return std::abs(sample) > 0.05F; };
    const auto onset = std::find_if(audio.samples.begin(), audio.samples.end(), loud);
    const std::size_t first = static_cast<std::size_t>(onset - audio.samples.begin()) +
                              static_cast<std::size_t>(settlingSeconds * audio.sampleRate);
    const std::size_t end =
        audio.samples.size() - std::min<std::size_t>(audio.samples.size(), 4096);
    return std::span(audio.samples).subspan(std::min(first, end), end - std::min(first, end));
}

/// How whole a tone came through.
struct Purity {
    double frequencyHz = 0;
    double typicalResidual = 0;  ///< RMS of what is beside the tone, as a part of its peak.
    double worstResidual = 0;    ///< The same in the worst window.
    double worstSeconds = 0;     ///< Where that is in the recording.

    static Purity of(const DecodedAudio& audio) {
        const std::span<const float> steady = steadyPart(audio);
        Purity purity;
        purity.frequencyHz = measuredFrequencyHz(steady, audio.sampleRate, toneHz);
        const double peak = MultiToneFit::of(steady.first(4800), audio.sampleRate,
                                             std::span(&purity.frequencyHz, 1))
                                .amplitudes[0];
        const std::vector<double> residuals =
            windowResiduals(steady, audio.sampleRate, purity.frequencyHz, windowSize);
        const auto worst = std::max_element(residuals.begin(), residuals.end());
        const auto worstSample =
            (steady.data() - audio.samples.data()) +
            (worst - residuals.begin()) * static_cast<std::ptrdiff_t>(windowSize);
        purity.typicalResidual = median(residuals) / peak;
        purity.worstResidual = *worst / peak;
        purity.worstSeconds = static_cast<double>(worstSample) / audio.sampleRate;
        return purity;
    }
};

// What may be left beside a steady tone, as a part of its peak: the codec alone leaves 0.00006, in
// its worst window 0.00025; one lost sample leaves 0.04.
constexpr double mostResidual = 0.001;

// A machine that is busy with something else costs the server a cycle now and then, which no
// recorder can give back. What is the recorder's own fault is there every time.
constexpr int attempts = 3;

TEST_P(PurityTest, AToneStaysWhole) {
    const auto [rate, side, onset] = GetParam();
    launch({}, rate);
    Purity purity;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const DecodedAudio audio = recordTone(side, onset, rate, attempt);
        ASSERT_GT(static_cast<double>(steadyPart(audio).size()) / audio.sampleRate, 3.5);
        purity = Purity::of(audio);
        std::cout << "frequency " << purity.frequencyHz << " Hz, residual "
                  << purity.typicalResidual << ", worst " << purity.worstResidual
                  << " of the peak\n";
        if (purity.worstResidual < mostResidual) break;
    }
    EXPECT_NEAR(purity.frequencyHz, toneHz, 0.05);
    EXPECT_LT(purity.worstResidual, mostResidual)
        << "discontinuity " << purity.worstSeconds << " s into the recording";
}

INSTANTIATE_TEST_SUITE_P(LivePath, PurityTest,
                         testing::Combine(testing::Values(48000, 44100),
                                          testing::Values(Side::speaker, Side::microphone),
                                          testing::Values(Onset::before, Onset::during)),
                         testName);

}  // namespace
}  // namespace tapwell::test
