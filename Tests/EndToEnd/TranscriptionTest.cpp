#include "EndToEnd/RecordingTest.h"
#include "Support/SpokenText.h"

#include <gtest/gtest.h>

#include <optional>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr int kSampleRate = 48000;

std::vector<float> scaled(std::vector<float> samples, float factor) {
    for (float& sample : samples)
        sample *= factor;
    return samples;
}

/// Speech through the program, from the audio server to the transcript events.
class TranscriptionTest : public RecordingTest {
protected:
    void launchTranscribing(TapwellProcess::Environment switches = {}) {
        switches["TL_RECORDER_STT_ENABLED"] = "1";
        switches["XDG_STATE_HOME"] = file("state").string();
        switches["XDG_DATA_HOME"] = file("data").string();
        launch({}, kSampleRate, switches);
        ASSERT_TRUE(tapwell().standardError().waitForText("SpeechAnalyzerProvider ready in",
                                                          std::chrono::steady_clock::now() + 20s));
    }

    /// The other side.
    std::vector<float> quiet() const { return std::vector<float>(sentences_.samples.size(), 0.0F); }

    /// Lets the sentences be played while a recording runs, and takes the events up to the
    /// transcript's last final one.
    void recordSpeech(const TwoSidedSound& sound) {
        start(file());
        audio().play(sound);
        const auto begin = std::chrono::steady_clock::now();
        const auto spoken = std::chrono::milliseconds(sentences_.samples.size() / 48);
        const auto deadline = begin + spoken + 8s;
        while (std::chrono::steady_clock::now() < deadline && !isComplete()) {
            const auto event = tapwell().nextEvent(500ms);
            if (event.empty()) continue;
            take(event);
            if (!firstPartial_ && !event["isFinal"])
                firstPartial_ = std::chrono::steady_clock::now() - begin;
        }
        EXPECT_TRUE(isComplete()) << "a partial result is left: " << pending_;
        EXPECT_TRUE(firstPartial_ && *firstPartial_ < spoken - 5s) << "while it is spoken";
        EXPECT_LE(wordErrorRate(sentences_.wholeText, finalText_), 0.15) << finalText_;
    }

    /// As many words as were spoken are final, and nothing waits to be.
    bool isComplete() const {
        return pending_.empty() && wordErrorRate(sentences_.wholeText, finalText_) <= 0.15;
    }

    void take(const nlohmann::json& event) {
        ASSERT_EQ(event.value("event", ""), "transcript") << event;
        ASSERT_EQ(event.size(), 3U) << event;
        if (event["isFinal"]) {
            finalText_ += (finalText_.empty() ? "" : " ") + event["text"].get<std::string>();
            pending_.clear();
        } else {
            pending_ = event["text"];
        }
    }

    /// Stops the recording; what is pending becomes final before, and nothing comes after.
    void stopRecording() {
        ASSERT_TRUE(tapwell().sendStop());
        for (;;) {
            const auto event = tapwell().nextEvent();
            ASSERT_FALSE(event.empty());
            if (event["event"] == "finalized") break;
            take(event);
        }
        EXPECT_EQ(pending_, "");
        EXPECT_EQ(tapwell().eventsUntilStatus().size(), 1U);
    }

    const SpokenSentences sentences_{kSampleRate};
    std::string finalText_;
    std::string pending_;
    std::optional<std::chrono::steady_clock::duration> firstPartial_;
};

TEST_F(TranscriptionTest, TheFarSideIsWrittenDownWhileItSpeaks) {
    launchTranscribing();
    recordSpeech({sentences_.samples, quiet()});
    stopRecording();
}

TEST_F(TranscriptionTest, TheNearSideIsWrittenDownWhileItSpeaks) {
    launchTranscribing();
    recordSpeech({quiet(), scaled(sentences_.samples, 0.15F)});
    stopRecording();
}

TEST_F(TranscriptionTest, TwoTracksAreWrittenDownToo) {
    launchTranscribing({{"TL_MACOS_DUAL_TRACK_RECORDING", "1"}});
    recordSpeech({sentences_.samples, quiet()});
    stopRecording();
}

TEST_F(TranscriptionTest, AStopInTheMiddleOfASentenceLosesNoWordAndSaysNoneTwice) {
    launchTranscribing();
    start(file());
    audio().play({sentences_.samples, quiet()});
    while (pending_.find("begin") == std::string::npos) {
        const auto event = tapwell().nextEvent();
        ASSERT_FALSE(event.empty()) << "the word was not heard";
        take(event);
    }
    const auto begin = std::chrono::steady_clock::now();
    stopRecording();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    EXPECT_NE(finalText_.find("begin"), std::string::npos) << finalText_;
}

TEST_F(TranscriptionTest, AStreamHasNoTranscript) {
    launchTranscribing({{"TL_RECORDER_RTMPS_MODE", "1"}});
    start(file());
    audio().play({sentences_.samples, quiet()});
    letPass(4s);
    tapwell().sendStop();
    EXPECT_TRUE(tapwell().standardOutput().waitForText("\"finalized\"",
                                                       std::chrono::steady_clock::now() + 10s));
    EXPECT_EQ(tapwell().standardOutput().text().find("\"transcript\""), std::string::npos);
}

TEST_F(TranscriptionTest, ALocaleThatNobodyKnowsIsRecordedWithoutATranscript) {
    launch({}, kSampleRate, {{"TL_RECORDER_STT_ENABLED", "1"}, {"LC_ALL", "tlh_QO.UTF-8"}});
    record(file(), 500ms);
    EXPECT_TRUE(tapwell().standardError().waitForText(
        "[Tapwell][mic-debug] STT: no provider available for locale=tlh_QO\n",
        std::chrono::steady_clock::now() + 5s));
}

}  // namespace
}  // namespace tapwell::test
