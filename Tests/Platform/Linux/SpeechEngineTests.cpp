#include "Platform/Linux/LinuxSpeechEngines.h"
#include "Platform/Linux/WhisperSegmentRecognizer.h"
#include "Platform/MonoPcm.h"
#include "Platform/RecorderError.h"
#include "Platform/Simulated/SimulatedEnvironment.h"
#include "Support/ChildProcess.h"
#include "Support/SpokenText.h"
#include "Support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <thread>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using Time = std::chrono::steady_clock;

/// What an engine says, from whichever thread.
class Listener {
public:
    void hear(const SpeechResult& result) {
        const std::lock_guard hold(lock_);
        results_.push_back(result);
    }
    void log(const std::string& line) {
        const std::lock_guard hold(lock_);
        log_.push_back(line);
    }
    void end(const RecorderError* error) {
        const std::lock_guard hold(lock_);
        ended_ = true;
        if (error) error_ = error->description();
        changed_.notify_all();
    }
    /// Waits for `end`, longer than any engine takes, and forgets it.
    std::optional<std::string> awaitEnd() {
        std::unique_lock hold(lock_);
        EXPECT_TRUE(changed_.wait_for(hold, 60s, [this] { return ended_; }));
        ended_ = false;
        return std::exchange(error_, std::nullopt);
    }
    std::vector<SpeechResult> results() const {
        const std::lock_guard hold(lock_);
        return results_;
    }
    std::vector<std::string> logLines() const {
        const std::lock_guard hold(lock_);
        return log_;
    }
    std::string finalText() const {
        std::string text;
        for (const SpeechResult& result : results())
            if (result.isFinal) text += (text.empty() ? "" : " ") + result.text;
        return text;
    }

private:
    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::vector<SpeechResult> results_;
    std::vector<std::string> log_;
    bool ended_ = false;
    std::optional<std::string> error_;
};

struct LinuxSpeech : testing::Test {
    test::TemporaryDirectory folder;
    SimulatedEnvironment environment;
    Listener listener;
    std::optional<LinuxSpeechEngines> engines;

    LinuxSpeech() {
        environment.variables["XDG_DATA_HOME"] = folder.file("");
        std::filesystem::create_directories(folder / "tapwell" / "models");
        makeEngines(SpeechModels::installed(environment));
    }
    void makeEngines(SpeechModels models) {
        engines.emplace(std::move(models), true,
                        [this](const std::string& line) { listener.log(line); });
    }
    std::shared_ptr<SpeechAnalyzer> startAnalyzer(const std::string& locale = "en_US") {
        const auto transcriber = engines->makeTranscriber(locale);
        transcriber->setResultHandlers(
            [this](const SpeechResult& result) { listener.hear(result); },
            [](const RecorderError& error) { ADD_FAILURE() << error.description(); });
        auto analyzer = engines->makeAnalyzer(transcriber);
        analyzer->start([this](const RecorderError* error) { listener.end(error); });
        return analyzer;
    }
    static void feed(SpeechAnalyzerInput& input, const std::vector<float>& samples) {
        for (std::size_t i = 0; i < samples.size(); i += 1000)
            input.yield(*monoFloatBuffer(
                std::span(samples).subspan(i, std::min<std::size_t>(1000, samples.size() - i)),
                16000));
    }
    void finish(SpeechAnalyzer& analyzer) {
        analyzer.finalizeAndFinishThroughEndOfInput(
            [this](const RecorderError* error) { listener.end(error); });
        EXPECT_EQ(listener.awaitEnd(), std::nullopt);
    }
    /// Partials come first and hold what is not yet final; nothing is final twice.
    static void expectWellFormed(const std::vector<SpeechResult>& results) {
        ASSERT_FALSE(results.empty());
        EXPECT_FALSE(results.front().isFinal) << "something is to be seen before it is final";
        EXPECT_TRUE(results.back().isFinal);
        for (const SpeechResult& result : results)
            EXPECT_FALSE(result.isFinal && result.text.empty());
    }
};

TEST_F(LinuxSpeech, TheAnalyzerUnderstandsThreeSentences) {
    const test::SpokenSentences sentences(16000);
    const auto analyzer = startAnalyzer();
    EXPECT_EQ(listener.awaitEnd(), std::nullopt);
    feed(*analyzer->input(), sentences.samples);
    finish(*analyzer);
    expectWellFormed(listener.results());
    EXPECT_LE(test::wordErrorRate(sentences.wholeText, listener.finalText()), 0.15)
        << listener.finalText();
    EXPECT_THAT(listener.logLines(), IsEmpty());
}

TEST_F(LinuxSpeech, TheRecognizerUnderstandsThreeSentencesAtTheSessionsRate) {
    const test::SpokenSentences sentences(48000);
    const auto recognizer = engines->makeRecognizer("en_US");
    ASSERT_NE(recognizer, nullptr);
    EXPECT_TRUE(recognizer->isAvailable());
    EXPECT_TRUE(recognizer->supportsOnDeviceRecognition());
    const auto request = recognizer->makeRequest();
    const auto task = recognizer->startTask(
        request, [this](const SpeechResult* result, const RecorderError* error) {
            ASSERT_EQ(error, nullptr) << error->description();
            listener.hear(*result);
            // The words "the city" end the text.
            if (result->isFinal && result->text.ends_with("city")) listener.end(nullptr);
        });
    for (std::size_t i = 0; i + 4800 <= sentences.samples.size(); i += 4800)
        request->append(*monoFloatBuffer(std::span(sentences.samples).subspan(i, 4800), 48000));
    request->endAudio();
    task->finish();
    EXPECT_EQ(listener.awaitEnd(), std::nullopt) << listener.finalText();
    expectWellFormed(listener.results());
    EXPECT_LE(test::wordErrorRate(sentences.wholeText, listener.finalText()), 0.20)
        << listener.finalText();
}

TEST_F(LinuxSpeech, SilenceAndATooShortSoundSayNothing) {
    const auto analyzer = startAnalyzer();
    listener.awaitEnd();
    feed(*analyzer->input(), std::vector<float>(5 * 16000, 0.0F));
    feed(*analyzer->input(), std::vector<float>(7, 0.5F));
    finish(*analyzer);
    EXPECT_THAT(listener.results(), IsEmpty());
}

TEST_F(LinuxSpeech, WhatIsNoNumberIsSilence) {
    const auto analyzer = startAnalyzer();
    listener.awaitEnd();
    feed(*analyzer->input(), std::vector<float>(16000, std::nanf("")));
    feed(*analyzer->input(), std::vector<float>(16000, -HUGE_VALF));
    finish(*analyzer);
    EXPECT_THAT(listener.finalText(), IsEmpty());
}

TEST_F(LinuxSpeech, EndingNeverWaitsForTheEngine) {
    const test::SpokenSentences sentences(16000);
    const auto isQuick = [](const std::function<void()>& step) {
        const auto begin = Time::now();
        step();
        return Time::now() - begin < 1s;
    };
    // While the model loads.
    EXPECT_TRUE(isQuick([&] { startAnalyzer().reset(); }));
    // With speech to be heard, and a second pass to be made.
    auto analyzer = startAnalyzer();
    listener.awaitEnd();
    feed(*analyzer->input(), sentences.samples);
    const auto deadline = Time::now() + 30s;
    while (listener.results().empty() && Time::now() < deadline)
        std::this_thread::sleep_for(1ms);
    EXPECT_FALSE(listener.results().empty());
    EXPECT_TRUE(isQuick([&] { analyzer.reset(); }));
    const std::size_t heard = listener.results().size();
    // With a queue that is full.
    auto full = startAnalyzer();
    feed(*full->input(), std::vector<float>(40 * 16000, 0.1F));
    EXPECT_TRUE(isQuick([&] { full.reset(); }));
    EXPECT_TRUE(isQuick([&] { engines.reset(); }));
    std::this_thread::sleep_for(200ms);  // for what must not come
    EXPECT_EQ(listener.results().size(), heard);
}

TEST_F(LinuxSpeech, AnEngineMayBeReleasedByItsOwnResult) {
    const test::SpokenSentences sentences(16000);
    const auto transcriber = engines->makeTranscriber("en_US");
    auto analyzer = engines->makeAnalyzer(transcriber);
    transcriber->setResultHandlers(
        [&](const SpeechResult& result) {
            listener.hear(result);
            analyzer.reset();
            listener.end(nullptr);
        },
        nullptr);
    const auto input = analyzer->input();
    analyzer->start(nullptr);
    feed(*input, sentences.samples);
    EXPECT_EQ(listener.awaitEnd(), std::nullopt);
    EXPECT_EQ(listener.results().size(), 1U);
}

TEST_F(LinuxSpeech, NobodyListeningTheEndComesAtOnce) {
    const test::SpokenSentences sentences(16000);
    const auto transcriber = engines->makeTranscriber("en_US");
    const auto analyzer = engines->makeAnalyzer(transcriber);
    transcriber->setResultHandlers([this](const SpeechResult& result) { listener.hear(result); },
                                   nullptr);
    analyzer->start([this](const RecorderError* error) { listener.end(error); });
    listener.awaitEnd();
    feed(*analyzer->input(), sentences.samples);
    transcriber->setResultHandlers(nullptr, nullptr);
    const std::size_t heard = listener.results().size();
    finish(*analyzer);
    EXPECT_EQ(listener.results().size(), heard);
}

TEST_F(LinuxSpeech, EnglishOfEveryRegionIsKnownAndNoOtherLanguage) {
    for (const auto& [locale, known] : std::vector<std::pair<std::string, bool>>{
             {"en_US", true}, {"en_GB", true}, {"en", true}, {"de_DE", false}, {"eng_X", false}}) {
        std::optional<bool> answer;
        engines->transcriberSupportsLocale(locale, [&](bool supported) { answer = supported; });
        EXPECT_EQ(answer, known) << locale;
        EXPECT_EQ(engines->makeRecognizer(locale) != nullptr, known) << locale;
    }
}

TEST_F(LinuxSpeech, WithoutAModelNothingIsKnownAndStartingSaysSo) {
    makeEngines(SpeechModels(folder / "none", folder / "none"));
    EXPECT_EQ(engines->makeRecognizer("en_US"), nullptr);
    std::optional<SpeechModelStatus> status;
    engines->makeTranscriber("en_US")->modelStatus([&](SpeechModelStatus s) { status = s; });
    EXPECT_EQ(status, SpeechModelStatus::unsupported);
    const auto analyzer = startAnalyzer();
    EXPECT_EQ(listener.awaitEnd(), "there is no speech model for en_US");
    engines->makeTranscriber("en_US")->installModel(
        [this](const RecorderError* error) { listener.end(error); });
    EXPECT_EQ(listener.awaitEnd(), "there is no speech model for en_US");
}

TEST_F(LinuxSpeech, ABrokenModelOfPocketSphinxIsAnErrorThatNamesIt) {
    const auto model = folder / "en-us";
    std::filesystem::create_directories(model / "en-us");
    for (const char* file : {"en-us/mdef", "en-us.lm.bin", "cmudict-en-us.dict"})
        std::ofstream(model / file) << "broken";
    makeEngines(SpeechModels("", folder.path()));
    const auto analyzer = startAnalyzer();
    EXPECT_EQ(listener.awaitEnd(),
              "the speech model's file " + (model / "en-us/mdef").string() +
                  " is missing or damaged; reinstall the package pocketsphinx-en-us");
}

TEST_F(LinuxSpeech, AUsersModelThatCannotBeUsedIsReportedAndReplaced) {
    const auto file = folder / "tapwell" / "models" / "ggml-tiny.en.bin";
    for (const char* content : {"", "no model at all", "lmgg\x01"}) {
        std::ofstream(file, std::ios::binary) << content;
        const std::size_t before = listener.logLines().size();
        const auto analyzer = startAnalyzer();
        EXPECT_EQ(listener.awaitEnd(), std::nullopt);
        const auto log = listener.logLines();
        ASSERT_EQ(log.size(), before + 1);
        EXPECT_THAT(log.back(), HasSubstr(file.string()));
        EXPECT_THAT(log.back(), HasSubstr("PocketSphinx takes its place"));
    }
}

/// With a model that is sound and understands nothing.
struct UsersModel : LinuxSpeech {
    std::filesystem::path file = folder / "tapwell" / "models" / "ggml-test.en.bin";

    void SetUp() override {
        if (!WhisperSegmentRecognizer::isBuiltIn()) GTEST_SKIP() << "built without whisper.cpp";
        const auto output =
            test::ChildProcess::run({TAPWELL_SCRIPTS "/make-test-speech-model", file.string()});
        ASSERT_EQ(output.ending.exitStatus, 0) << output.standardError;
    }
    std::string content() const {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

TEST_F(UsersModel, ItIsLoadedAndDecodesEverySegment) {
    const test::SpokenSentences sentences(16000);
    const auto analyzer = startAnalyzer();
    EXPECT_EQ(listener.awaitEnd(), std::nullopt);
    EXPECT_THAT(listener.logLines(),
                testing::ElementsAre("speech model " + file.string() + " loaded"));
    feed(*analyzer->input(), sentences.samples);
    finish(*analyzer);
    int finals = 0;
    for (const SpeechResult& result : listener.results())
        finals += result.isFinal ? 1 : 0;
    EXPECT_EQ(finals, 3) << "a pause lies between the sentences";
}

TEST_F(UsersModel, StoppingInterruptsIt) {
    const test::SpokenSentences sentences(16000);
    auto analyzer = startAnalyzer();
    listener.awaitEnd();
    feed(*analyzer->input(), sentences.samples);
    std::this_thread::sleep_for(100ms);
    const auto begin = Time::now();
    analyzer.reset();
    engines.reset();
    EXPECT_LT(Time::now() - begin, 1s);
}

TEST_F(UsersModel, WhatIsDamagedIsReportedAndReplaced) {
    const std::string sound = content();
    std::string wrongMagic = sound;
    wrongMagic[0] = 'x';
    std::vector<std::string> damaged{wrongMagic, ""};
    for (const std::size_t size : {3U, 4U, 20U, 48U, 1000U, 70000U, 500000U, 2000000U})
        damaged.push_back(sound.substr(0, size));
    damaged.push_back(sound.substr(0, sound.size() - 1));
    for (const std::string& bytes : damaged) {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
        const std::size_t before = listener.logLines().size();
        const auto analyzer = startAnalyzer();
        EXPECT_EQ(listener.awaitEnd(), std::nullopt);
        ASSERT_EQ(listener.logLines().size(), before + 1) << bytes.size();
        EXPECT_THAT(listener.logLines().back(), HasSubstr(file.string() + ": it is no ggml model"))
            << bytes.size();
    }
}

TEST_F(UsersModel, AModelOfEnglishAloneIsNoneForOtherLanguages) {
    std::filesystem::rename(file, folder / "tapwell" / "models" / "ggml-test.bin");
    const auto analyzer = startAnalyzer("de_DE");
    EXPECT_EQ(listener.awaitEnd(), "there is no speech model for de_DE");
    ASSERT_EQ(listener.logLines().size(), 1U);
    EXPECT_THAT(listener.logLines()[0],
                HasSubstr("ggml-test.bin knows English alone; nothing takes its place"));
}

TEST_F(LinuxSpeech, UsersModelsAreChosenByNameAndLanguage) {
    const auto models = SpeechModels::installed(environment);
    const auto place = folder / "tapwell" / "models";
    EXPECT_EQ(models.findGgml("en_US"), std::nullopt);
    std::ofstream(place / "notes.txt") << "";
    std::ofstream(place / "ggml-small.bin") << "";
    EXPECT_EQ(models.findGgml("en_US"), place / "ggml-small.bin");
    EXPECT_EQ(models.findGgml("de_DE"), place / "ggml-small.bin");
    std::ofstream(place / "ggml-tiny.en.bin") << "";
    std::ofstream(place / "ggml-base.en.bin") << "";
    EXPECT_EQ(models.findGgml("en_GB"), place / "ggml-base.en.bin");
    EXPECT_EQ(models.findGgml("de"), place / "ggml-small.bin");
    std::filesystem::remove(place / "ggml-small.bin");
    EXPECT_EQ(models.findGgml("de"), std::nullopt) << "a model of English alone";
    EXPECT_FALSE(models.knows("de_DE"));
}

}  // namespace
}  // namespace tapwell
