#pragma once

#include "Platform/PrivateFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tapwell {

/// Real files, on a disk that can be made to fail. What is all zeros is left out as a hole, so that
/// hours of silence take no room.
class SimulatedPrivateFileFactory final : public PrivateFileFactory {
public:
    /// Files whose path contains one of these cannot be made.
    std::vector<std::string> refused;
    /// Bytes that all files together can still take; an append that needs more fails.
    std::uint64_t bytesLeft = UINT64_MAX;

    std::unique_ptr<PrivateFile> createFile(const std::string& path) override;
};

}  // namespace tapwell
