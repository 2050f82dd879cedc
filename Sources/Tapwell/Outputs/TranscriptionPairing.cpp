#include "Tapwell/Outputs/TranscriptionPairing.h"

#include <algorithm>
#include <utility>

namespace tapwell {
namespace {

void dropFirst(std::vector<float>& samples, std::size_t count) {
    samples.erase(samples.begin(),
                  samples.begin() + static_cast<std::ptrdiff_t>(std::min(count, samples.size())));
}

}  // namespace

void TranscriptionPairing::setCallback(CaptureReceiver::SttCallback callback) {
    callback_ = std::move(callback);
    sttSystemBuf_.clear();
    sttMicBuf_.clear();
}

void TranscriptionPairing::push(Side side, std::span<const float> samples) {
    if (!callback_) return;
    auto& buffer = side == Side::system ? sttSystemBuf_ : sttMicBuf_;
    buffer.insert(buffer.end(), samples.begin(), samples.end());
    handOut(std::min(sttSystemBuf_.size(), sttMicBuf_.size()));
    const std::size_t longer = std::max(sttSystemBuf_.size(), sttMicBuf_.size());
    if (longer > longestWait_) handOut(longer - longestWait_);
}

void TranscriptionPairing::handOut(std::size_t count) {
    if (count == 0) return;
    std::vector<float> chunk(count);
    for (std::size_t i = 0; i < count; ++i) {
        const float system = i < sttSystemBuf_.size() ? sttSystemBuf_[i] : 0.0F;
        const float mic = i < sttMicBuf_.size() ? sttMicBuf_[i] : 0.0F;
        chunk[i] = (system + mic) * 0.5F;
    }
    dropFirst(sttSystemBuf_, count);
    dropFirst(sttMicBuf_, count);
    callback_(chunk, MediaTime::invalid());
}

}  // namespace tapwell
