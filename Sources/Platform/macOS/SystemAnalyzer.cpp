#include "Platform/macOS/SystemAnalyzer.h"

#include "Platform/MonoPcm.h"

#include <utility>

namespace tapwell {
namespace {

struct NativeInput final : SpeechAnalyzerInput {
    NativeInput(const std::shared_ptr<TapwellAnalyzer>& target, SystemAnalyzer::Report targetReport)
        : weakAnalyzer(target), report(std::move(targetReport)) {}
    void yield(const PcmBuffer& buffer) override {
        const auto analyzer = weakAnalyzer.lock();
        if (!analyzer) return;
        const auto samples = monoFloatSamples(buffer);
        const bool hasDropped = tapwellAnalyzerYield(analyzer.get(), samples.data(),
                                                     static_cast<std::int64_t>(samples.size()),
                                                     buffer.format().sampleRate());
        if (hasDropped && !std::exchange(hasReported, true))
            report("recognition is slower than the speech: some speech is left out");
    }
    void finish() override {
        if (const auto analyzer = weakAnalyzer.lock()) tapwellAnalyzerFinishInput(analyzer.get());
    }
    const std::weak_ptr<TapwellAnalyzer> weakAnalyzer;
    const SystemAnalyzer::Report report;
    bool hasReported = false;
};

}  // namespace

SystemAnalyzer::SystemAnalyzer(std::shared_ptr<SystemTranscriber> transcriber,
                               std::shared_ptr<SpeechGate> enginesGate, Report report)
    : transcriber_(std::move(transcriber)),
      enginesGate_(std::move(enginesGate)),
      gates_(enginesGate_),
      native_(tapwellAnalyzerCreate(transcriber_->native()), tapwellAnalyzerRelease),
      input_(std::make_shared<NativeInput>(native_, std::move(report))) {}

SystemAnalyzer::~SystemAnalyzer() {
    gates_.release();
    transcriber_->closeResults();
}

void SystemAnalyzer::bestAvailableAudioFormat(
    std::function<void(std::optional<AudioFormat>)> completion) {
    const auto answer = [completion = std::move(completion)](double sampleRate) {
        completion(AudioFormat::make(CommonFormat::pcmFloat32, sampleRate, 1, false));
    };
    // Answered also when the analyzer is gone by then.
    tapwellAnalyzerFormat(native_.get(),
                          AnalyzerCall<double>::make(SpeechGates(enginesGate_), answer),
                          AnalyzerCall<double>::answer);
}

std::shared_ptr<SpeechAnalyzerInput> SystemAnalyzer::input() {
    return input_;
}

void SystemAnalyzer::start(SpeechCompletion completion) {
    transcriber_->readResults();
    tapwellAnalyzerStart(native_.get(), makeCompletionContext(gates_, std::move(completion)),
                         AnalyzerCall<const char*>::answer);
}

void SystemAnalyzer::finalizeAndFinishThroughEndOfInput(SpeechCompletion completion) {
    tapwellAnalyzerFinalize(native_.get(), makeCompletionContext(gates_, std::move(completion)),
                            AnalyzerCall<const char*>::answer);
}

}  // namespace tapwell
