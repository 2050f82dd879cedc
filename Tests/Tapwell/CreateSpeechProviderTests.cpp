#include "Support/SpeechTestBench.h"
#include "Tapwell/Transcription/CreateSpeechProvider.h"
#include "Tapwell/Transcription/LocaleIdentifier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

struct SpeechProviderChoice : testing::Test, test::SpeechTestBench {
    std::string choose(const std::string& locale = "en_US") {
        const auto provider = createSpeechProvider(services, locale, 48000, nullptr);
        return provider ? provider->typeName() : "none";
    }
};

TEST_F(SpeechProviderChoice, TheNewerSystemsAnalyzerIsPreferred) {
    engines.localeCheckTime = 300ms;
    const auto before = time.now();
    EXPECT_EQ(choose(), "SpeechAnalyzerProvider");
    EXPECT_EQ(time.now() - before, 300ms) << "waits for the answer, and no longer";
}

TEST_F(SpeechProviderChoice, AnOlderSystemHasTheRecognizer) {
    engines.analyzerPresent = false;
    EXPECT_EQ(choose(), "SFSpeechProvider");
}

TEST_F(SpeechProviderChoice, ALocaleThatTheAnalyzerDoesNotKnowGoesToTheRecognizer) {
    engines.recognizerLocales.insert("de_DE");
    EXPECT_EQ(choose("de_DE"), "SFSpeechProvider");
}

TEST_F(SpeechProviderChoice, ALocaleThatNobodyKnowsHasNone) {
    EXPECT_EQ(choose("tlh"), "none");
    engines.analyzerPresent = false;
    EXPECT_EQ(choose("tlh"), "none");
}

TEST_F(SpeechProviderChoice, ARecognizerThatIsNotAvailableIsNone) {
    engines.analyzerPresent = false;
    engines.recognition->available = false;
    EXPECT_EQ(choose(), "none");
    EXPECT_TRUE(engines.recognition->tasks.empty());
}

TEST_F(SpeechProviderChoice, AnEngineThatHangsDoesNotHangTheStart) {
    engines.localeCheckHangs = true;
    const auto before = time.now();
    EXPECT_EQ(choose(), "SFSpeechProvider");
    EXPECT_EQ(time.now() - before, 2s);
    EXPECT_EQ(logged("[Tapwell][mic-debug] STT: no answer from SpeechAnalyzer about locale=en_US "
                     "within 2 s, trying SFSpeechRecognizer\n"),
              1);
}

TEST_F(SpeechProviderChoice, AnAnswerThatComesTooLateIsHarmless) {
    engines.localeCheckTime = 3s;
    EXPECT_EQ(choose(), "SFSpeechProvider");
    time.advance(5s);
    EXPECT_EQ(logged("SpeechAnalyzerProvider"), 0);
}

TEST_F(SpeechProviderChoice, TheAttributorReachesTheProvider) {
    const auto provider =
        createSpeechProvider(services, "en_US", 16000, std::make_shared<SpeakerAttributor>());
    time.settle();
    engines.transcription->deliver("hello", true);
    EXPECT_EQ(events().back(), transcript("hello", true, "You"));
}

TEST(LocaleIdentifier, TheTagHasHyphensAndNoKeywords) {
    EXPECT_EQ(bcp47Identifier("en_US"), "en-US");
    EXPECT_EQ(bcp47Identifier("zh_Hant_TW@currency=TWD"), "zh-Hant-TW");
    EXPECT_EQ(bcp47Identifier("de"), "de");
}

}  // namespace
}  // namespace tapwell
