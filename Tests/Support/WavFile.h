#pragma once

#include <filesystem>
#include <vector>

namespace tapwell::test {

/// Writes a RIFF/WAVE file of 32-bit float samples, one vector per channel, all of one length.
/// Throws std::runtime_error when it cannot.
void writeWavFile(const std::filesystem::path& path, int sampleRate,
                  const std::vector<std::vector<float>>& channels);

}  // namespace tapwell::test
