#include "Tapwell/Outputs/RecorderDebugMixedWavSink.h"

#include "Platform/RecorderError.h"
#include "Tapwell/Configuration/EnvironmentSwitch.h"
#include "Tapwell/Outputs/Pcm16.h"
#include "Tapwell/Outputs/WavHeader.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace tapwell {
namespace {

const char* characters(std::span<const std::byte> bytes) {
    return reinterpret_cast<const char*>(bytes.data());
}

}  // namespace

bool RecorderDebugMixedWavSink::shouldRecordDebugWav(const Environment& environment) {
    return isSwitchedOn(environment, "TL_RECORDER_DEBUG_WAV");
}

RecorderDebugMixedWavSink::RecorderDebugMixedWavSink(std::string path, std::uint32_t sampleRate,
                                                     Log log)
    : path_(std::move(path)), sampleRate_(sampleRate), log_(std::move(log)) {}

void RecorderDebugMixedWavSink::appendMonoFloatSamples(std::span<const float> samples) {
    const std::vector<std::byte> bytes = Pcm16::littleEndianBytes(samples);
    const std::lock_guard hold(lock_);
    pcmData_.insert(pcmData_.end(), bytes.begin(), bytes.end());
}

void RecorderDebugMixedWavSink::finalizeSync() {
    const std::lock_guard hold(lock_);
    const auto header =
        monoPcm16WavHeader(sampleRate_, static_cast<std::uint32_t>(pcmData_.size()));
    std::ofstream file(path_, std::ios::binary | std::ios::trunc);
    // Before there is anything in it to read.
    std::error_code ignored;
    std::filesystem::permissions(
        path_, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, ignored);
    file.write(characters(header), static_cast<std::streamsize>(header.size()));
    file.write(characters(pcmData_), static_cast<std::streamsize>(pcmData_.size()));
    file.close();
    if (!file)
        throw RecorderError("POSIX", errno,
                            "Cannot write debug WAV \"" + path_ + "\": " + std::strerror(errno));
    log_.line("wrote mixed mono PCM16 sr=" + std::to_string(sampleRate_) + " path=" + path_ +
              " bytes=" + std::to_string(header.size() + pcmData_.size()));
}

}  // namespace tapwell
