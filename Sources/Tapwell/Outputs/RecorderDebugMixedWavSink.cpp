#include "Tapwell/Outputs/RecorderDebugMixedWavSink.h"

#include "Platform/RecorderError.h"
#include "Tapwell/Configuration/EnvironmentSwitch.h"
#include "Tapwell/Outputs/Pcm16.h"
#include "Tapwell/Outputs/WavHeader.h"

#include <filesystem>
#include <new>

namespace tapwell {

bool RecorderDebugMixedWavSink::shouldRecordDebugWav(const Environment& environment) {
    return isSwitchedOn(environment, "TL_RECORDER_DEBUG_WAV");
}

RecorderDebugMixedWavSink::RecorderDebugMixedWavSink(PrivateFileFactory& files, std::string path,
                                                     std::uint32_t sampleRate, Log log,
                                                     std::size_t maximumBytes)
    : files_(files),
      path_(std::move(path)),
      sampleRate_(sampleRate),
      log_(std::move(log)),
      maximumBytes_(maximumBytes) {}

void RecorderDebugMixedWavSink::appendMonoFloatSamples(std::span<const float> samples) {
    const std::vector<std::byte> bytes = Pcm16::littleEndianBytes(samples);
    const std::lock_guard hold(lock_);
    if (isFull_ || keep(bytes)) return;
    isFull_ = true;
    log_.line("debug WAV is full after " + std::to_string(pcmData_.size()) +
              " bytes of samples; it ends there, the recording goes on");
}

/// Under lock_. False when there is no room for them.
bool RecorderDebugMixedWavSink::keep(const std::vector<std::byte>& bytes) {
    if (bytes.size() > maximumBytes_ - pcmData_.size()) return false;
    try {
        pcmData_.insert(pcmData_.end(), bytes.begin(), bytes.end());
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void RecorderDebugMixedWavSink::finalizeSync() {
    const std::lock_guard hold(lock_);
    const auto header =
        monoPcm16WavHeader(sampleRate_, static_cast<std::uint32_t>(pcmData_.size()));
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    const auto file = files_.createFile(path_);
    file->append(header);
    file->append(pcmData_);
    log_.line("wrote mixed mono PCM16 sr=" + std::to_string(sampleRate_) + " path=" + path_ +
              " bytes=" + std::to_string(header.size() + pcmData_.size()));
}

}  // namespace tapwell
