#include "Platform/Linux/WhisperSegmentRecognizer.h"

#include "Platform/Linux/WithWhisper/GgmlFile.h"
#include "Platform/RecorderError.h"

#include <whisper.h>

#include <algorithm>
#include <exception>
#include <vector>

namespace tapwell {
namespace {

/// Recognition runs beside a meeting: one processor is what it may take.
constexpr int kThreads = 1;
/// The encoder looks at 50 positions a second, 1500 at most, and its time is in proportion. Some
/// room behind the speech keeps it from stuttering.
constexpr int kPositionsPerSecond = 50;
constexpr int kPositionsBehind = 64;
constexpr int kFewestPositions = 256;
constexpr int kMostPositions = 1500;
constexpr float kSampleRate = 16000;

struct ReleaseContext {
    void operator()(whisper_context* context) const { whisper_free(context); }
};
using Context = std::unique_ptr<whisper_context, ReleaseContext>;

class Recognizer final : public SegmentRecognizer {
public:
    Recognizer(Context context, std::string language)
        : context_(std::move(context)), language_(std::move(language)) {}

    std::string recognize(std::span<const std::int16_t> samples,
                          const std::atomic<bool>& cancelled) override {
        std::vector<float> audio(samples.size());
        std::transform(samples.begin(), samples.end(), audio.begin(),
                       [](std::int16_t sample) { return static_cast<float>(sample) / 32768.0F; });
        // Shorter audio is refused.
        audio.resize(std::max(audio.size(), static_cast<std::size_t>(kSampleRate)));
        const whisper_full_params parameters = makeParameters(audio.size(), cancelled);
        try {
            if (whisper_full(context_.get(), parameters, audio.data(),
                             static_cast<int>(audio.size())) == 0)
                return text();
        } catch (const std::exception&) {
            // The library's interface is C, but a model that lacks a word throws through it.
        }
        return "";
    }

private:
    whisper_full_params makeParameters(std::size_t sampleCount,
                                       const std::atomic<bool>& cancelled) const {
        whisper_full_params parameters = whisper_full_default_params(WHISPER_SAMPLING_GREEDY);
        parameters.n_threads = kThreads;
        parameters.language = language_.c_str();
        parameters.translate = false;
        parameters.no_context = true;
        parameters.no_timestamps = true;
        parameters.print_progress = false;
        parameters.print_realtime = false;
        parameters.print_timestamps = false;
        parameters.print_special = false;
        parameters.suppress_blank = true;
        // Trying again at other temperatures multiplies the time of the worst segments.
        parameters.temperature_inc = 0;
        const auto seconds = static_cast<float>(sampleCount) / kSampleRate;
        parameters.audio_ctx =
            std::clamp(static_cast<int>(seconds * kPositionsPerSecond) + kPositionsBehind,
                       kFewestPositions, kMostPositions);
        parameters.audio_ctx =
            std::min(parameters.audio_ctx, whisper_model_n_audio_ctx(context_.get()));
        parameters.abort_callback = [](void* flag) {
            return static_cast<const std::atomic<bool>*>(flag)->load();
        };
        parameters.abort_callback_user_data = const_cast<std::atomic<bool>*>(&cancelled);
        return parameters;
    }

    /// Without the names of noises that stand for silence, such as "[BLANK_AUDIO]".
    std::string text() const {
        std::string result;
        for (int i = 0; i < whisper_full_n_segments(context_.get()); ++i) {
            const char* const segment = whisper_full_get_segment_text(context_.get(), i);
            if (segment != nullptr) result += segment;
        }
        const auto first = result.find_first_not_of(" \t\n");
        if (first == std::string::npos) return "";
        result = result.substr(first, result.find_last_not_of(" \t\n") - first + 1);
        const bool isNoise = (result.front() == '[' && result.find(']') == result.size() - 1) ||
                             (result.front() == '(' && result.find(')') == result.size() - 1);
        return isNoise ? "" : result;
    }

    const Context context_;
    const std::string language_;
};

}  // namespace

bool WhisperSegmentRecognizer::isBuiltIn() {
    return true;
}

std::unique_ptr<SegmentRecognizer> WhisperSegmentRecognizer::load(
    const std::filesystem::path& model, const std::string& language) {
    // The library logs pages to standard error, which carries our own lines.
    whisper_log_set([](ggml_log_level, const char*, void*) {}, nullptr);
    whisper_context_params parameters = whisper_context_default_params();
    parameters.use_gpu = false;
    Context context(GgmlFile::isComplete(model)
                        ? whisper_init_from_file_with_params(model.c_str(), parameters)
                        : nullptr);
    if (!context)
        throw RecorderError("Whisper", 2,
                            "cannot load the speech model " + model.string() +
                                ": it is no ggml model of whisper.cpp, or damaged");
    if (language != "en" && whisper_is_multilingual(context.get()) == 0)
        throw RecorderError("Whisper", 3,
                            "the speech model " + model.string() + " knows English alone");
    if (whisper_lang_id(language.c_str()) < 0)
        throw RecorderError(
            "Whisper", 4,
            "the speech model " + model.string() + " does not know the language " + language);
    return std::make_unique<Recognizer>(std::move(context), language);
}

}  // namespace tapwell
