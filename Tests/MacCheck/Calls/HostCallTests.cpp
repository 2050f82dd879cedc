#include "Platform/MakeHost.h"
#include "Platform/MonoPcm.h"
#include "Platform/macOS/AnalyzerBridge.h"

// Behind the headers of the seam, some of whose names it defines as macros.
#include "Fakes/FakeSpeech.h"
#include "Fakes/FakeSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>

using maccheck::FakeSystem;

// What the analyzer's tests leave of the functions that are Swift's on the system.
bool tapwellAnalyzerIsAvailable(void) {
    return true;
}

void tapwellAnalyzerSupportsLocale(const char* locale, void* context, TapwellSupportAnswer answer) {
    answer(context, std::string(locale) == FakeSystem::get().locale);
}

namespace tapwell {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct HostCallTest : testing::Test {
    HostCallTest() { fake.reset(); }
    ~HostCallTest() override {
        host.reset();
        fake.drain();
        EXPECT_TRUE(fake.isClean()) << fake.liveObjects << " references left";
    }
    FakeSystem& fake = FakeSystem::get();
    std::unique_ptr<Host> host = makeHost();
};

TEST_F(HostCallTest, FilesAreTheOwnersAlone) {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(mask, mode_t{077});
}

TEST_F(HostCallTest, KnowsTheUsersLocaleAndTheEnvironment) {
    fake.locale = "de_AT";
    EXPECT_EQ(host->environment().localeIdentifier(), "de_AT");
    ::setenv("TAPWELL_CHECK", "x", 1);
    EXPECT_EQ(host->environment().value("TAPWELL_CHECK"), "x");
    ::unsetenv("TAPWELL_CHECK");
    EXPECT_EQ(host->environment().value("TAPWELL_CHECK"), std::nullopt);
    EXPECT_GT(host->environment().processID(), 0);
}

TEST_F(HostCallTest, ConvertsAStereoStreamWithTheSystemsConverter) {
    const AudioFormat source = *AudioFormat::make(CommonFormat::pcmInt16, 16000, 2, true);
    const AudioFormat target = *AudioFormat::make(CommonFormat::pcmFloat32, 48000, 1, false);
    const auto converter = host->converters().makeConverter(source, target);
    ASSERT_TRUE(converter);
    PcmBuffer input = *PcmBuffer::withCapacity(source, 6);
    input.setFrameLength(6);
    std::uint32_t stride = 0;
    for (std::uint32_t channel = 0; channel < 2; ++channel) {
        std::int16_t* const samples = input.channel<std::int16_t>(channel, stride);
        for (int i = 0; i < 6; ++i)
            samples[static_cast<std::uint32_t>(i) * stride] = static_cast<std::int16_t>(4096 * i);
    }
    const PcmBuffer* next = &input;
    const auto block = [&](std::uint32_t, SampleRateConverter::InputStatus& status) {
        status = next != nullptr ? SampleRateConverter::InputStatus::haveData
                                 : SampleRateConverter::InputStatus::noDataNow;
        return std::exchange(next, nullptr);
    };
    PcmBuffer output = *PcmBuffer::withCapacity(target, 100);
    std::vector<float> heard;
    std::string error;
    const auto take = [&] {
        const auto samples = monoFloatSamples(output);
        heard.insert(heard.end(), samples.begin(), samples.end());
        return !samples.empty();
    };
    EXPECT_EQ(converter->convert(output, block, error),
              SampleRateConverter::OutputStatus::inputRanDry);
    take();
    EXPECT_THAT(heard, ElementsAre(0, 0, 0, 0.125f, 0.125f, 0.125f, 0.25f, 0.25f, 0.25f, 0.375f,
                                   0.375f, 0.375f));
    do {
        EXPECT_NE(converter->finish(output, error), SampleRateConverter::OutputStatus::error);
    } while (take());
    EXPECT_EQ(heard.size(), 18u);
    EXPECT_EQ(heard.back(), 0.625f);
}

TEST_F(HostCallTest, AConverterThatTheSystemHasNotIsNone) {
    fake.failures = {{"-[AVAudioConverter init]", -1}};
    EXPECT_FALSE(host->converters().makeConverter(
        *AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, false),
        *AudioFormat::make(CommonFormat::pcmFloat32, 48000, 1, false)));
}

TEST_F(HostCallTest, HasTheSpeechEnginesOfTheSystem) {
    SpeechEngines& engines = host->speechEngines();
    EXPECT_TRUE(engines.hasAnalyzer());
    std::vector<bool> answers;
    for (const char* locale : {"en_US", "xx"})
        engines.transcriberSupportsLocale(locale, [&](bool is) { answers.push_back(is); });
    EXPECT_THAT(answers, ElementsAre(true, false));
    auto transcriber = engines.makeTranscriber("en_US");
    EXPECT_TRUE(engines.makeAnalyzer(transcriber));
}

TEST_F(HostCallTest, NothingIsCalledAfterTheHost) {
    const auto recognizer = host->speechEngines().makeRecognizer("en_US");
    ASSERT_TRUE(recognizer);
    std::vector<std::string> said;
    const auto task = recognizer->startTask(
        recognizer->makeRequest(), [&](const SpeechResult* result, const RecorderError*) {
            said.push_back(result == nullptr ? "error" : result->text);
        });
    fake.drain();
    maccheck::say("heard", false);
    fake.drain();
    maccheck::say("late", true);
    host.reset();
    fake.drain();
    EXPECT_THAT(said, ElementsAre("heard"));
}

}  // namespace
}  // namespace tapwell
