#include "Platform/RecorderError.h"
#include "Tapwell/Outputs/MergeTrack.h"
#include "Tapwell/Outputs/MonoPcm16WavReader.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

// Any bytes are a WAV file that can be read to its end, or one that is refused with an error; in
// memory that does not depend on what the file says of itself.

namespace {

constexpr std::int64_t kChunk = 4096;
/// A file may claim any length; how much of it is read here is bounded.
constexpr std::int64_t kMostChunks = 64;

void readAll(tapwell::MonoPcm16WavReader& reader, double outputRate) {
    tapwell::MergeTrack track(reader, 100, outputRate);
    if (track.endFrame() < 100) std::abort();
    for (std::int64_t chunk = 0; chunk < kMostChunks; ++chunk) {
        if (chunk * kChunk >= track.endFrame()) return;
        if (track.read(chunk * kChunk, kChunk).size() != kChunk) std::abort();
    }
    // Around the end, wherever that is.
    (void)track.read(track.endFrame() - 10, 20);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = ::memfd_create("wav", 0);
    if (::ftruncate(file, 0) != 0 || ::pwrite(file, data, size, 0) < 0) std::abort();
    try {
        tapwell::MonoPcm16WavReader reader("/proc/self/fd/" + std::to_string(file));
        if (reader.sampleRate() <= 0 || reader.frameCount() < 0) std::abort();
        readAll(reader, reader.sampleRate());
        readAll(reader, 48000);
        (void)reader.firstNonSilentFrameIndex();
    } catch (const tapwell::RecorderError&) {
        // As it should be.
    }
    return 0;
}
