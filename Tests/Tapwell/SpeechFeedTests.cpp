#include "Support/SpeechTestBench.h"
#include "Support/ToneAnalysis.h"
#include "Tapwell/Transcription/SpeechFeed.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tapwell {
namespace {

struct ListeningProvider final : SpeechRecognitionProvider {
    std::vector<float> heard;
    std::vector<double> times;

    std::string typeName() const override { return "ListeningProvider"; }
    void feedPCM(std::span<const float> samples, MediaTime time) override {
        heard.insert(heard.end(), samples.begin(), samples.end());
        times.push_back(time.seconds());
    }
    void stop() override {}
};

struct Feed : testing::Test, test::SpeechTestBench {
    std::shared_ptr<ListeningProvider> provider = std::make_shared<ListeningProvider>();

    std::shared_ptr<SpeechFeed> make(double sessionRate, double providerRate) {
        return SpeechFeed::create(host.simulatedQueues, converters,
                                  Log(host.simulatedStreams, "mic-debug"), provider, sessionRate,
                                  providerRate);
    }
    SimulatedSerialQueue& queue() { return *host.simulatedQueues.find("Tapwell.SpeechFeed"); }
};

TEST_F(Feed, EqualRatesAreHandedOnUntouchedAndNotByTheCaller) {
    const auto feed = make(48000, 48000);
    const std::vector<float> samples{0.1F, -0.2F, 0.3F};
    feed->feed(samples, MediaTime::make(7, 1));
    EXPECT_TRUE(provider->heard.empty()) << "on the caller's thread";
    time.settle();
    EXPECT_EQ(provider->heard, samples);
    EXPECT_EQ(provider->times, std::vector<double>{7});
}

TEST_F(Feed, EverySessionRateArrivesAtTheProvidersRate) {
    for (const double rate : {8000.0, 16000.0, 24000.0, 44100.0, 48000.0}) {
        provider->heard.clear();
        const auto feed = make(rate, 48000);
        ASSERT_NE(feed, nullptr) << rate;
        std::vector<float> samples(static_cast<std::size_t>(2 * rate));
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] =
                static_cast<float>(0.5 * std::sin(2 * M_PI * 1000 * static_cast<double>(i) / rate));
        for (std::size_t i = 0; i < samples.size(); i += 1024)
            feed->feed(
                std::span(samples).subspan(i, std::min<std::size_t>(1024, samples.size() - i)),
                MediaTime::zero());
        time.settle();
        ASSERT_GT(provider->heard.size(), 90000U) << rate << ": all but the filter's delay";
        ASSERT_LE(provider->heard.size(), 96000U) << rate;
        const auto part = std::span(provider->heard).subspan(4800, 76800);
        EXPECT_NEAR(test::fitTone(part, 1000.0 / 48000).amplitude, 0.5, 0.001) << rate;
    }
}

TEST_F(Feed, RatesThatCannotBeConvertedGiveNoFeed) {
    EXPECT_EQ(make(0, 48000), nullptr);
    EXPECT_EQ(make(48000, std::nan("")), nullptr);
}

TEST_F(Feed, WhatDoesNotFitIsLostAndReportedOnce) {
    const auto feed = make(16000, 16000);
    queue().setStalled(true);
    for (int second = 0; second < 8; ++second)
        feed->feed(std::vector<float>(16000, static_cast<float>(second)), MediaTime::zero());
    EXPECT_EQ(logged("[mic-debug] STT: recognition does not keep up"), 1);
    queue().setStalled(false);
    time.settle();
    EXPECT_EQ(provider->heard.size(), 5U * 16000U);
    EXPECT_EQ(provider->heard.back(), 4);
    feed->feed(std::vector<float>(16000, 9), MediaTime::zero());
    time.settle();
    EXPECT_EQ(provider->heard.back(), 9) << "goes on when there is room again";
}

TEST_F(Feed, AReleasedFeedDeliversNothing) {
    auto feed = make(16000, 16000);
    feed->feed(std::vector<float>(160, 1), MediaTime::zero());
    feed.reset();
    time.settle();
    EXPECT_TRUE(provider->heard.empty());
}

}  // namespace
}  // namespace tapwell
