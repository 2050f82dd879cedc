#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace tapwell {

/// Reads a stream of samples at a slightly changing speed: output k is the band-limited signal at
/// input position p(k), where p(0) = 0 and p grows by the step in force.
///
/// At whole positions the output is the input sample itself, so that a trim whose step was never
/// changed from 1 hands its input on bit by bit, and the first change starts from there without a
/// seam. Between samples it interpolates with a windowed sinc. Its cutoff is the Nyquist frequency
/// whatever the step, so steps are to stay within a few percent of 1; up to 0.895 of the Nyquist
/// frequency, errors are below -140 dB. The output does not depend on how input and output are cut
/// into pieces. Not synchronised.
class RateTrim {
public:
    /// Input samples that must lie behind and before a position between samples.
    static constexpr std::size_t kHalfWidth = 48;

    RateTrim();

    void append(const float* samples, std::size_t count);

    /// From input position `position` on, p grows by `step` with each output. To be called in the
    /// order of positions, none of which has been read past.
    void changeStepAt(double position, double step);

    /// Input position of the next output, and the distance to the one after it.
    double position() const {
        return static_cast<double>(discarded_) + static_cast<double>(index_) -
               static_cast<double>(kHalfWidth) + fraction_;
    }
    double step() const { return step_; }

    /// No more input: what follows counts as silence, and outputs end at the last input's end.
    void finish();

    /// Puts up to `capacity` samples, as far as the input determines them, into `output`; their
    /// number.
    std::size_t read(float* output, std::size_t capacity);

private:
    struct StepChange {
        double position;
        double step;
    };

    std::size_t copyUnchanged(float* output, std::size_t capacity);
    bool isDetermined() const;
    float currentSample() const;
    void advance();
    void movePosition(double distance);
    void discardOldSamples();

    std::vector<float> samples_;      ///< begins with kHalfWidth samples of silence
    std::size_t index_ = kHalfWidth;  ///< of samples_: whole part of the position
    double fraction_ = 0;             ///< of the position, in [0, 1)
    std::int64_t discarded_ = 0;      ///< input samples removed from the front of samples_
    std::size_t endIndex_ = 0;        ///< of samples_: end of the input, once it has finished
    bool hasFinished_ = false;
    double step_ = 1;
    std::deque<StepChange> changes_;
};

}  // namespace tapwell
