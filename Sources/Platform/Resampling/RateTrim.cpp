#include "Platform/Resampling/RateTrim.h"

#include "Platform/Resampling/InterpolationKernel.h"

#include <algorithm>
#include <cmath>

namespace tapwell {
namespace {

constexpr std::size_t kDiscardBlockSamples = 8192;

}  // namespace

static_assert(RateTrim::kHalfWidth == InterpolationKernel::kHalfWidth);

RateTrim::RateTrim() : samples_(kHalfWidth, 0.0f) {}

void RateTrim::append(const float* samples, std::size_t count) {
    samples_.insert(samples_.end(), samples, samples + count);
}

void RateTrim::changeStepAt(double position, double step) {
    changes_.push_back({position, step});
}

void RateTrim::finish() {
    if (hasFinished_) return;
    hasFinished_ = true;
    endIndex_ = samples_.size();
    samples_.resize(samples_.size() + kHalfWidth, 0.0f);
}

std::size_t RateTrim::read(float* output, std::size_t capacity) {
    std::size_t count = copyUnchanged(output, capacity);
    for (; count < capacity && isDetermined(); ++count) {
        output[count] = currentSample();
        advance();
    }
    discardOldSamples();
    return count;
}

std::size_t RateTrim::copyUnchanged(float* output, std::size_t capacity) {
    if (fraction_ != 0 || step_ != 1 || !changes_.empty()) return 0;
    const std::size_t end = hasFinished_ ? endIndex_ : samples_.size();
    const std::size_t count = std::min(capacity, end - std::min(index_, end));
    std::copy_n(samples_.data() + index_, count, output);
    index_ += count;
    return count;
}

bool RateTrim::isDetermined() const {
    if (hasFinished_) return index_ < endIndex_;
    if (fraction_ == 0) return index_ < samples_.size();
    return index_ + kHalfWidth < samples_.size();
}

float RateTrim::currentSample() const {
    if (fraction_ == 0) return samples_[index_];
    return InterpolationKernel::shared().apply(samples_.data() + index_ + 1 - kHalfWidth,
                                               fraction_);
}

void RateTrim::advance() {
    double remaining = 1;  // of the way to the next output, in outputs
    while (!changes_.empty()) {
        const double position =
            static_cast<double>(discarded_ + static_cast<std::int64_t>(index_ - kHalfWidth));
        const double ahead = std::max(changes_.front().position - position - fraction_, 0.0);
        if (ahead >= remaining * step_) break;
        movePosition(ahead);
        remaining -= ahead / step_;
        step_ = changes_.front().step;
        changes_.pop_front();
    }
    movePosition(remaining * step_);
}

void RateTrim::movePosition(double distance) {
    fraction_ += distance;
    const double whole = std::floor(fraction_);
    fraction_ -= whole;
    index_ += static_cast<std::size_t>(whole);
}

void RateTrim::discardOldSamples() {
    if (index_ < kHalfWidth + kDiscardBlockSamples) return;
    const std::size_t count = std::min(index_ - kHalfWidth, samples_.size());
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(count));
    index_ -= count;
    discarded_ += static_cast<std::int64_t>(count);
    if (hasFinished_) endIndex_ -= std::min(count, endIndex_);
}

}  // namespace tapwell
