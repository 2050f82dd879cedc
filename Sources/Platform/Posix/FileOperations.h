#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace tapwell {

/// Creates a file that must not exist, for its owner only, and opens it for reading and writing.
/// Returns 0, with the descriptor, or errno.
int createForOwner(const std::string& path, int& outDescriptor);

/// Writes all of `bytes` at `offset`, going on after short writes and interruptions. Returns 0 or
/// the errno of the write that failed; part of the bytes may be in the file then.
int writeAll(int descriptor, std::span<const std::byte> bytes, std::uint64_t offset);

/// Fills `bytes` from `offset` as far as the file reaches. Returns 0 or errno; `outCount` tells how
/// many bytes were read.
int readFully(int descriptor, std::span<std::byte> bytes, std::uint64_t offset,
              std::size_t& outCount);

}  // namespace tapwell
