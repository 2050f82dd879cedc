#pragma once

#include "Platform/SpeechCompletion.h"
#include "Platform/macOS/SpeechGate.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace tapwell {

/// A function with its gates on its way through the C interface of the analyzer, as its `context`.
/// Lives until it is answered.
template <typename... Arguments>
class AnalyzerCall {
public:
    using Function = std::function<void(Arguments...)>;

    static void* make(SpeechGates gates, Function function) {
        return new AnalyzerCall(std::move(gates), std::move(function));
    }

    static void answer(void* context, Arguments... arguments) {
        const std::unique_ptr<AnalyzerCall> call(static_cast<AnalyzerCall*>(context));
        call->gates_.pass([&] { call->function_(arguments...); });
    }

private:
    AnalyzerCall(SpeechGates gates, Function function)
        : gates_(std::move(gates)), function_(std::move(function)) {}

    const SpeechGates gates_;
    const Function function_;
};

inline RecorderError analyzerError(const char* description) {
    return RecorderError("Speech", 1, description);
}

/// The context of a call whose answer is AnalyzerCall<const char*>::answer.
inline void* makeCompletionContext(SpeechGates gates, SpeechCompletion completion) {
    return AnalyzerCall<const char*>::make(
        std::move(gates), [completion = std::move(completion)](const char* description) {
            if (description == nullptr) return completion(nullptr);
            const RecorderError error = analyzerError(description);
            completion(&error);
        });
}

}  // namespace tapwell
