#include "Tapwell/Outputs/MergeTrack.h"

#include <algorithm>
#include <cmath>

namespace tapwell {
namespace {

constexpr double kMostFramesAtOnce = 65536;

}  // namespace

MergeTrack::MergeTrack(MonoPcm16WavReader& reader, std::int64_t pad, double outputRate)
    : reader_(reader),
      pad_(pad),
      outputRate_(outputRate),
      frames_(reader.frameCountAtOutputRate(outputRate)) {}

std::vector<std::int16_t> MergeTrack::read(std::int64_t start, std::int64_t count) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(count));
    const std::int64_t first = std::max<std::int64_t>(start - pad_, 0);
    const std::int64_t last = std::min(start - pad_ + count, frames_);
    if (first >= last) return samples;
    std::int16_t* const out = samples.data() + (first + pad_ - start);
    if (std::abs(reader_.sampleRate() - outputRate_) < 0.5) {
        copy(first, last, out);
        return samples;
    }
    // However high the file's rate is, only so much of it is read at once.
    const auto most = std::max<std::int64_t>(
        static_cast<std::int64_t>(kMostFramesAtOnce * outputRate_ / reader_.sampleRate()), 1);
    for (std::int64_t from = first; from < last; from += most)
        interpolate(from, std::min(from + most, last), out + (from - first));
    return samples;
}

void MergeTrack::copy(std::int64_t first, std::int64_t last, std::int16_t* out) {
    std::ranges::copy(reader_.readFrames(first, last - first), out);
}

/// Linear, between the frames of the file that the output's frames `first` to `last` (the one
/// behind) fall on.
void MergeTrack::interpolate(std::int64_t first, std::int64_t last, std::int16_t* out) {
    const std::int64_t fileFrames = reader_.frameCount();
    if (fileFrames == 0) return;
    const auto position = [this](std::int64_t frame) {
        return reader_.sampleRate() * static_cast<double>(frame) / outputRate_;
    };
    const auto from = std::min(static_cast<std::int64_t>(position(first)), fileFrames - 1);
    const auto to = std::min(static_cast<std::int64_t>(position(last)) + 1, fileFrames - 1);
    const std::vector<std::int16_t> frames = reader_.readFrames(from, to - from + 1);
    const auto lastIndex = static_cast<std::int64_t>(frames.size()) - 1;
    for (std::int64_t frame = first; frame < last; ++frame) {
        const double at = position(frame) - static_cast<double>(from);
        const auto i0 = std::min(static_cast<std::int64_t>(at), lastIndex);
        const auto i1 = std::min(i0 + 1, lastIndex);
        const double s0 = frames[static_cast<std::size_t>(i0)];
        const double s1 = frames[static_cast<std::size_t>(i1)];
        const double value = s0 + (at - static_cast<double>(i0)) * (s1 - s0);
        *out++ = static_cast<std::int16_t>(std::clamp(value, -32768.0, 32767.0));
    }
}

}  // namespace tapwell
