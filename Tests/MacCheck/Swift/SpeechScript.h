#pragma once

#include "Swift/FakeSpeech.h"

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

/// Every sample that its analyzers took, frame by frame.
inline std::vector<double> speechHeard() {
    std::vector<double> samples;
    fakeSpeechHeard(&samples, [](void* context, double sample) {
        static_cast<std::vector<double>*>(context)->push_back(sample);
    });
    return samples;
}

/// What the buffers were like in which they came.
inline std::vector<std::string> speechHeardForms() {
    std::vector<std::string> forms;
    fakeSpeechHeardForms(&forms, [](void* context, const char* form) {
        static_cast<std::vector<std::string>*>(context)->emplace_back(form);
    });
    return forms;
}

}  // namespace maccheck
