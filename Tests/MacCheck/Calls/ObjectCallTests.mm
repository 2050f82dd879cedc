#include "Fakes/FakeAudio.h"
#include "Fakes/FakeObjects.h"
#include "Fakes/FakeSystem.h"
#include "Fakes/ObjectiveC.h"
#include "Platform/MonoPcm.h"
#include "Platform/macOS/SystemError.h"
#include "Platform/macOS/SystemPcmBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

// Nobody implements them.
@interface NSNumber (Missing)
- (int)missing;
+ (int)missing;
@end

namespace tapwell {
namespace {

using maccheck::FakeSystem;
using testing::Contains;
using testing::IsEmpty;

struct ObjectCallTest : testing::Test {
    ObjectCallTest() {
        maccheck::emptyPools();  // of a test that failed
        fake.reset();
    }
    ~ObjectCallTest() override {
        EXPECT_TRUE(fake.isClean()) << fake.liveObjects << " objects left";
    }
    FakeSystem& fake = FakeSystem::get();
};

TEST_F(ObjectCallTest, AnErrorOfTheSystemKeepsDomainCodeAndText) {
    @autoreleasepool {
        const std::string text = "\u00fcber";
        NSError* native = [[NSError alloc] initWithDomain:"NSOSStatusErrorDomain"
                                                     code:-66
                                              description:&text];
        const RecorderError error = recorderError(native);
        EXPECT_EQ(error.domain(), "NSOSStatusErrorDomain");
        EXPECT_EQ(error.code(), -66);
        EXPECT_EQ(error.description(), text);
        EXPECT_EQ(describe(native), text);
    }
}

TEST_F(ObjectCallTest, AnErrorWithoutObjectOrTextIsStillOne) {
    @autoreleasepool {
        EXPECT_EQ(recorderError(nil).domain(), "NSError");
        EXPECT_EQ(recorderError(nil).code(), 0);
        EXPECT_EQ(recorderError(nil).description(), "the system gives no reason");
        NSError* mute = [[NSError alloc] initWithDomain:"D" code:7 description:nullptr];
        EXPECT_EQ(recorderError(mute).code(), 7);
        EXPECT_EQ(recorderError(mute).description(), "");
    }
}

TEST_F(ObjectCallTest, ABufferIsACopyOfTheFrames) {
    @autoreleasepool {
        const std::array<float, 3> samples = {1, -0.5f, 0.25f};
        AVAudioPCMBuffer* copy = nil;
        {
            PcmBuffer buffer = *monoFloatBuffer(samples, 16000);
            buffer.setFrameLength(2);
            copy = makeSystemBuffer(buffer);
        }
        EXPECT_EQ(maccheck::textOf(copy), "16000 Hz, 1 ch: 1 -0.5");
        EXPECT_EQ(copy.frameCapacity, 2u);
    }
}

TEST_F(ObjectCallTest, ThereIsNoBufferWithoutFramesOrMemory) {
    @autoreleasepool {
        const std::array<float, 1> samples = {1};
        PcmBuffer buffer = *monoFloatBuffer(samples, 16000);
        for (const char* step : {"-[AVAudioFormat init]", "-[AVAudioPCMBuffer init]"}) {
            fake.failures = {{step, -1}};
            EXPECT_EQ(makeSystemBuffer(buffer), nil) << step;
        }
        fake.failures = {};
        fake.calls.clear();
        buffer.setFrameLength(0);
        EXPECT_EQ(makeSystemBuffer(buffer), nil);
        EXPECT_THAT(fake.calls, IsEmpty());
    }
}

// The rest is about the runtime that the others stand on.

TEST_F(ObjectCallTest, ALeakIsCounted) {
    void* leaked = nullptr;
    @autoreleasepool {
        leaked = (__bridge_retained void*)[NSNumber numberWithUnsignedInt:1];
        EXPECT_EQ(fake.liveObjects, 1);
    }
    EXPECT_EQ(fake.liveObjects, 1);
    @autoreleasepool {
        NSNumber* number = (__bridge_transfer NSNumber*)leaked;
        EXPECT_EQ(maccheck::textOf(number), "1");
    }
    EXPECT_EQ(fake.liveObjects, 0);
}

TEST_F(ObjectCallTest, APoolHoldsWhatWasReturnedUntilItsEnd) {
    @autoreleasepool {
        __unsafe_unretained NSNumber* unowned = nil;
        {
            NSNumber* number = [NSNumber numberWithLongLong:-5];
            unowned = number;
        }
        EXPECT_EQ(maccheck::textOf(unowned), "-5");
        @autoreleasepool {
            (void)[NSNumber numberWithDouble:0.5];
            EXPECT_EQ(fake.liveObjects, 2);
        }
        EXPECT_EQ(fake.liveObjects, 1);
    }
}

TEST_F(ObjectCallTest, WhatIsReturnedWithoutAPoolIsNoticed) {
    {
        NSNumber* number = [NSNumber numberWithUnsignedInt:1];
        (void)number;
    }
    EXPECT_THAT(fake.violations, Contains("autoreleased without a pool: NSNumber"));
    EXPECT_EQ(fake.liveObjects, 1);
    fake.violations.clear();
    maccheck::emptyPools();
}

TEST_F(ObjectCallTest, AUseAfterTheLastReleaseEndsTheProgram) {
    const auto useAfterRelease = [] {
        @autoreleasepool {
            __unsafe_unretained NSObject* gone = nil;
            {
                NSObject* object = [[NSObject alloc] init];
                gone = object;
            }
            NSObject* used = gone;
            (void)used;
        }
    };
    EXPECT_DEATH(useAfterRelease(), "heap-use-after-free");
}

TEST_F(ObjectCallTest, AMissingMethodEndsTheProgramAndIsNamed) {
    @autoreleasepool {
        EXPECT_DEATH((void)[[NSNumber numberWithUnsignedInt:1] missing], "-\\[NSNumber missing\\]");
        EXPECT_DEATH((void)[NSNumber missing], "\\+\\[NSNumber missing\\]");
    }
}

TEST_F(ObjectCallTest, NilAnswersWithNothing) {
    @autoreleasepool {
        NSError* none = nil;
        EXPECT_EQ(none.code, 0);
        EXPECT_EQ(none.domain, nil);
    }
}

TEST_F(ObjectCallTest, AnExceptionIsCaughtByItsClassAlone) {
    @autoreleasepool {
        std::string caught;
        @try {
            try {
                maccheck::raise("reason");
            } catch (const std::exception&) {
                caught = "as one of C++";
            }
        } @catch (NSException* exception) {
            caught = maccheck::textOf(exception);
        }
        EXPECT_EQ(caught, "reason");
        try {
            @try {
                throw std::runtime_error("of C++");
            } @catch (NSException*) {
                caught = "as an object";
            }
        } catch (const std::exception& exception) {
            caught = exception.what();
        }
        EXPECT_EQ(caught, "of C++");
    }
}

}  // namespace
}  // namespace tapwell
