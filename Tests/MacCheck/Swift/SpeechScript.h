#pragma once

#include "Swift/FakeSpeech.h"

#include <cstdint>
#include <string>
#include <vector>

namespace maccheck {

/// What the fake system was asked, in order.
inline std::vector<std::string> speechCalls() {
    std::vector<std::string> calls;
    fakeSpeechCalls(&calls, [](void* context, const char* call) {
        static_cast<std::vector<std::string>*>(context)->emplace_back(call);
    });
    return calls;
}

/// Every sample that its analyzers took.
inline std::vector<std::int16_t> speechHeard() {
    std::vector<std::int16_t> samples;
    fakeSpeechHeard(&samples, [](void* context, std::int16_t sample) {
        static_cast<std::vector<std::int16_t>*>(context)->push_back(sample);
    });
    return samples;
}

}  // namespace maccheck
