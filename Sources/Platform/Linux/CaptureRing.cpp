#include "Platform/Linux/CaptureRing.h"

#include <sys/mman.h>

#include <cstring>
#include <new>

namespace tapwell {
namespace {

std::byte* mapMemory(std::size_t size) {
    void* const memory =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    return static_cast<std::byte*>(memory);
}

}  // namespace

std::size_t CaptureRing::pieceSize(std::size_t sampleCount) {
    const std::size_t size = sizeof(Header) + sampleCount * sizeof(float);
    return (size + sizeof(Header) - 1) / sizeof(Header) * sizeof(Header);
}

CaptureRing::CaptureRing(std::uint32_t channels, std::size_t frames,
                         std::size_t smallestBufferFrames)
    : capacity_(pieceSize(frames * channels) +
                (frames / smallestBufferFrames + 1) * 2 * sizeof(Header)),
      memory_(mapMemory(capacity_), Unmap{capacity_}) {
    std::memset(memory_.get(), 0, capacity_);
}

void CaptureRing::Unmap::operator()(std::byte* memory) const {
    ::munmap(memory, size);
}

void CaptureRing::writeHeader(std::uint64_t position, const Header& header) const {
    std::memcpy(at(position), &header, sizeof header);
}

CaptureRing::Header CaptureRing::readHeader(std::uint64_t position) const {
    Header header;
    std::memcpy(&header, at(position), sizeof header);
    return header;
}

bool CaptureRing::push(std::span<const float> samples, const CaptureTimes& times) {
    std::uint64_t position = writePosition_.load(std::memory_order_relaxed);
    const std::size_t used =
        static_cast<std::size_t>(position - readPosition_.load(std::memory_order_acquire));
    const std::size_t needed = pieceSize(samples.size());
    const std::size_t untilEnd = capacity_ - static_cast<std::size_t>(position % capacity_);
    const std::size_t skipped = untilEnd < needed ? untilEnd : 0;
    if (needed + skipped > capacity_ - used) return false;

    if (skipped > 0) writeHeader(position, {kSkip, {}});
    position += skipped;
    writeHeader(position, {samples.size(), times});
    std::memcpy(at(position) + sizeof(Header), samples.data(), samples.size_bytes());
    writePosition_.store(position + needed, std::memory_order_release);
    return true;
}

std::optional<CaptureRing::Slice> CaptureRing::front() {
    std::uint64_t position = readPosition_.load(std::memory_order_relaxed);
    if (position == writePosition_.load(std::memory_order_acquire)) return std::nullopt;
    Header header = readHeader(position);
    if (header.sampleCount == kSkip) {
        position += capacity_ - position % capacity_;
        readPosition_.store(position, std::memory_order_release);
        header = readHeader(position);
    }
    const auto* samples = reinterpret_cast<const float*>(at(position) + sizeof(Header));
    return Slice{{samples, static_cast<std::size_t>(header.sampleCount)}, header.times};
}

void CaptureRing::pop() {
    const std::uint64_t position = readPosition_.load(std::memory_order_relaxed);
    const Header header = readHeader(position);
    readPosition_.store(position + pieceSize(static_cast<std::size_t>(header.sampleCount)),
                        std::memory_order_release);
}

}  // namespace tapwell
