#include "Tapwell/MixBus/SampleFifo.h"

#include "RecorderMixBus/Precondition.h"

namespace tapwell {

void SampleFifo::append(std::span<const float> samples) {
    samples_.insert(samples_.end(), samples.begin(), samples.end());
}

void SampleFifo::appendSilence(std::int64_t sampleCount) {
    samples_.resize(samples_.size() + static_cast<std::size_t>(sampleCount));
}

void SampleFifo::prependSilence(std::int64_t sampleCount) {
    compact();
    samples_.insert(samples_.begin(), static_cast<std::size_t>(sampleCount), 0.0F);
}

std::vector<float> SampleFifo::take(std::int64_t sampleCount) {
    precondition(sampleCount >= 0 && sampleCount <= count(), "queue holds fewer samples");
    const auto first = samples_.begin() + static_cast<std::ptrdiff_t>(head_);
    std::vector<float> taken(first, first + static_cast<std::ptrdiff_t>(sampleCount));
    head_ += static_cast<std::size_t>(sampleCount);
    // Moving the rest down only when it is the smaller half keeps the cost per sample constant.
    if (head_ * 2 >= samples_.size()) compact();
    return taken;
}

void SampleFifo::clear() {
    samples_.clear();
    head_ = 0;
}

void SampleFifo::compact() {
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(head_));
    head_ = 0;
}

}  // namespace tapwell
