#include "Platform/Linux/FragmentedMp4File.h"

#include <algorithm>

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
    if (pendingSizes_.size() >= full) writeFragment(AacTrack::kFramesPerPacket);
}

void FragmentedMp4File::finish(std::uint64_t frameCount) {
    if (pendingSizes_.empty()) return;
    const std::uint64_t packetsBeforeLast = packetSizes_.size() + pendingSizes_.size() - 1;
    const std::uint64_t lastPacketFrames =
        layout_.track().primingFrames + frameCount - packetsBeforeLast * AacTrack::kFramesPerPacket;
    writeFragment(static_cast<std::uint32_t>(lastPacketFrames));
}

void FragmentedMp4File::writeFragment(std::uint32_t lastPacketFrames) {
    fragment_.clear();
    layout_.writeFragmentHeader(fragment_, fragmentCount_ + 1, packetSizes_.size(), pendingSizes_,
                                lastPacketFrames);
    fragment_.append(pendingPayload_);
    file_.append(fragment_.bytes());
    ++fragmentCount_;
    packetSizes_.insert(packetSizes_.end(), pendingSizes_.begin(), pendingSizes_.end());
    pendingSizes_.clear();
    pendingPayload_.clear();
}

}  // namespace tapwell
