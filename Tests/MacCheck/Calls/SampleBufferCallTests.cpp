#include "Fakes/FakeFoundation.h"
#include "Fakes/FakeSystem.h"
#include "Platform/macOS/SystemSampleBuffer.h"

#include <gtest/gtest.h>

#include <array>

namespace tapwell {
namespace {

using maccheck::FakeSystem;

std::shared_ptr<const AudioFormatDescription> stereo(double sampleRate) {
    std::shared_ptr<const AudioFormatDescription> format;
    AudioFormatDescription::create({sampleRate, kAudioFormatLinearPCM, 9, 8, 1, 8, 2, 32, 0},
                                   format);
    return format;
}

SampleBuffer makeBuffer(std::shared_ptr<const AudioFormatDescription> format) {
    std::shared_ptr<BlockBuffer> data;
    BlockBuffer::create(32, data);
    std::optional<SampleBuffer> buffer;
    SampleBuffer::create(data, std::move(format), 4,
                         {MediaTime::make(1, 48000), MediaTime::make(960, 48000)}, buffer);
    return *buffer;
}

struct SampleBufferCallTest : testing::Test {
    SampleBufferCallTest() { FakeSystem::get().reset(); }
    ~SampleBufferCallTest() override { EXPECT_TRUE(FakeSystem::get().isClean()); }
};

TEST_F(SampleBufferCallTest, CarriesFormatTimesAndSizes) {
    SystemSampleBufferFormat format;
    const auto made = format.makeSampleBuffer(makeBuffer(stereo(48000)));
    ASSERT_TRUE(made);
    EXPECT_EQ(maccheck::textOfObject(made.get()),
              R"(""32 bytes" of "48000 Hz, 2 ch": 4 x 8 at 960/48000 for 1/48000, )"
              R"(decoded 0/0 invalid")");
}

TEST_F(SampleBufferCallTest, MakesAFormatOnceAStream) {
    const auto shared = stereo(48000);
    SystemSampleBufferFormat format;
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(format.makeSampleBuffer(makeBuffer(shared)));
    const auto& calls = FakeSystem::get().calls;
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "CMAudioFormatDescriptionCreate"), 1);
    EXPECT_TRUE(format.makeSampleBuffer(makeBuffer(stereo(44100))));
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "CMAudioFormatDescriptionCreate"), 2);
}

TEST_F(SampleBufferCallTest, NothingIsLeftOfAFailure) {
    for (const char* function :
         {"CMAudioFormatDescriptionCreate", "CMBlockBufferCreateWithMemoryBlock",
          "CMBlockBufferReplaceDataBytes", "CMSampleBufferCreateReady"}) {
        FakeSystem::get().failures = {{function, -12731}};
        SystemSampleBufferFormat format;
        EXPECT_FALSE(format.makeSampleBuffer(makeBuffer(stereo(48000)))) << function;
    }
}

TEST_F(SampleBufferCallTest, RefusesABufferWithoutFormatOrData) {
    SystemSampleBufferFormat format;
    EXPECT_FALSE(format.makeSampleBuffer(makeBuffer(nullptr)));
    SampleBuffer invalid = makeBuffer(stereo(48000));
    invalid.invalidate();
    EXPECT_FALSE(format.makeSampleBuffer(invalid));
}

}  // namespace
}  // namespace tapwell
