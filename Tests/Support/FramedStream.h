#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace tapwell::test {

/// What a parent makes of the standard output of a streaming recording: event lines, and the PCM of
/// the frames between them.
struct FramedStream {
    std::vector<std::string> lines;         ///< without their ends
    std::vector<std::size_t> payloadBytes;  ///< of each frame
    std::vector<float> left;                ///< full scale is 1
    std::vector<float> right;
    /// Bytes at the end that are no whole line and no whole frame.
    std::size_t rest = 0;

    static FramedStream of(const std::string& output) {
        constexpr std::size_t headerSize = 8;
        FramedStream stream;
        std::size_t at = 0;
        while (at < output.size()) {
            if (output[at] == '{') {
                const std::size_t end = output.find('\n', at);
                if (end == std::string::npos) break;
                stream.lines.push_back(output.substr(at, end - at));
                at = end + 1;
                continue;
            }
            if (output.size() - at < headerSize) break;
            EXPECT_EQ(output.compare(at, 4, "TLPC"), 0) << "neither line nor frame at " << at;
            std::uint32_t length = 0;
            std::memcpy(&length, output.data() + at + 4, sizeof length);
            if (output.size() - at - headerSize < length) break;
            stream.take(std::span(output).subspan(at + headerSize, length));
            at += headerSize + length;
        }
        stream.rest = output.size() - at;
        return stream;
    }

private:
    void take(std::span<const char> payload) {
        payloadBytes.push_back(payload.size());
        for (std::size_t at = 0; at + 4 <= payload.size(); at += 4) {
            std::array<std::int16_t, 2> pair{};
            std::memcpy(pair.data(), payload.data() + at, sizeof pair);
            left.push_back(static_cast<float>(pair[0]) / 32767);
            right.push_back(static_cast<float>(pair[1]) / 32767);
        }
    }
};

}  // namespace tapwell::test
