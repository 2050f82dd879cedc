#include "Platform/Linux/FragmentedMp4File.h"

#include <algorithm>
#include <array>

namespace tapwell {

FragmentedMp4File::FragmentedMp4File(RecordingFile& file, AacTrack track)
    : file_(file), layout_(std::move(track)) {
    const std::vector<std::byte> header = layout_.fragmentedHeader();
    file_.append(header);
    headerBytes_ = header.size();
}

std::uint32_t FragmentedMp4File::packetsPerFragment(std::uint32_t sampleRate) {
    constexpr double kFragmentSeconds = 0.13;
    // A kill costs the fragment under way, the two packets' worth of input that the encoder holds
    // back, and the packet that is not yet full.
    constexpr double kLossSeconds = 0.25;
    constexpr double kPacketsHeldBack = 3;
    const double packetsPerSecond = sampleRate / double{AacTrack::kFramesPerPacket};
    const double packets = std::min(kFragmentSeconds * packetsPerSecond,
                                    kLossSeconds * packetsPerSecond - kPacketsHeldBack + 1);
    return static_cast<std::uint32_t>(std::max(1.0, packets));
}

void FragmentedMp4File::append(std::span<const std::byte> packet) {
    pendingPayload_.insert(pendingPayload_.end(), packet.begin(), packet.end());
    pendingSizes_.push_back(static_cast<std::uint16_t>(packet.size()));
    // The first fragments are shorter, so that a recording killed at once has something to play.
    const std::size_t full = std::clamp<std::size_t>(
        packetSizes_.size(), 1, packetsPerFragment(layout_.track().sampleRate));
    if (pendingSizes_.size() >= full) writeFragment();
}

void FragmentedMp4File::setFrameCount(std::uint64_t frameCount) {
    mediaFrames_ = layout_.track().primingFrames + frameCount;
}

void FragmentedMp4File::finish() {
    if (!pendingSizes_.empty()) writeFragment();
}

std::uint32_t FragmentedMp4File::lastPendingPacketFrames() const {
    const std::uint64_t packetsBefore = packetSizes_.size() + pendingSizes_.size() - 1;
    const std::uint64_t framesBefore = packetsBefore * AacTrack::kFramesPerPacket;
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(AacTrack::kFramesPerPacket, mediaFrames_ - framesBefore));
}

void FragmentedMp4File::writeFragment() {
    fragment_.clear();
    layout_.writeFragmentHeader(fragment_, fragmentCount_ + 1, packetSizes_.size(), pendingSizes_,
                                lastPendingPacketFrames());
    fragment_.append(pendingPayload_);

    // A kill can cut a write in two, and readers give up on a file that ends within a moof box. So
    // the fragment arrives as the content of a free box, which they pass over, and shows itself
    // when it is complete. Size before type: half a header still makes a box to pass over.
    constexpr std::size_t kBoxHeaderBytes = 8;
    Mp4BoxWriter veil;
    veil.u32(fragment_.size());
    veil.text("free");
    std::array<std::byte, kBoxHeaderBytes> header;
    std::ranges::copy(fragment_.bytes().first(kBoxHeaderBytes), header.begin());
    fragment_.overwrite(0, veil.bytes());
    const std::uint64_t offset = file_.size();
    file_.append(fragment_.bytes());
    file_.amend(offset, header);

    ++fragmentCount_;
    packetSizes_.insert(packetSizes_.end(), pendingSizes_.begin(), pendingSizes_.end());
    pendingSizes_.clear();
    pendingPayload_.clear();
}

}  // namespace tapwell
