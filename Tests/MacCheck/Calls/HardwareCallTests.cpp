#include "Platform/PropertyObject.h"
#include "Platform/macOS/CoreAudioHardware.h"
#include "Platform/macOS/DispatchQueueFactory.h"

// Behind the headers of the seam, some of whose names it defines as macros.
#include "Fakes/FakeSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace tapwell {
namespace {

using maccheck::FakeSystem;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr AudioObjectID kDevice = 7;
constexpr OSStatus kFailure = -66;

AudioObjectPropertyAddress global(std::uint32_t selector) {
    return {selector, tapwell::kAudioObjectPropertyScopeGlobal, 0};
}

class HardwareCallTest : public testing::Test {
protected:
    HardwareCallTest() {
        fake.reset();
        queue = queues.makeSerialQueue("test");
    }
    /// Ends the host; whatever it held must be back.
    ~HardwareCallTest() override {
        queue.reset();
        hardware.reset();
        fake.drain();
        EXPECT_EQ(fake.liveObjects, 0) << "references that nobody released";
        EXPECT_THAT(fake.violations, IsEmpty());
        EXPECT_EQ(fake.listenerCount(), 0u);
        EXPECT_EQ(fake.procedureCount(), 0u);
    }

    FakeSystem& fake = FakeSystem::get();
    DispatchQueueFactory queues;
    std::unique_ptr<CoreAudioHardware> hardware = std::make_unique<CoreAudioHardware>();
    std::shared_ptr<SerialQueue> queue;
};

TEST_F(HardwareCallTest, ReadsANumber) {
    fake.properties[{kDevice, ::kAudioDevicePropertyNominalSampleRate}] = 44100.0;
    const auto address = global(tapwell::kAudioDevicePropertyNominalSampleRate);
    std::uint32_t size = 0;
    EXPECT_EQ(hardware->getPropertyDataSize(kDevice, address, {}, size), 0);
    EXPECT_EQ(size, 8u);
    double rate = 0;
    EXPECT_EQ(hardware->getPropertyData(kDevice, address, {}, size, &rate), 0);
    EXPECT_EQ(rate, 44100.0);
    EXPECT_EQ(size, 8u);
}

TEST_F(HardwareCallTest, PassesTheQualifierOn) {
    fake.properties[{1, ::kAudioHardwarePropertyTranslatePIDToProcessObject}] = std::uint32_t{55};
    const std::int32_t pid = 4711;
    AudioObjectID process = 0;
    std::uint32_t size = sizeof process;
    EXPECT_EQ(hardware->getPropertyData(
                  1, global(tapwell::kAudioHardwarePropertyTranslatePIDToProcessObject),
                  std::as_bytes(std::span(&pid, 1)), size, &process),
              0);
    EXPECT_EQ(process, 55u);
    std::int32_t passed = 0;
    ASSERT_EQ(fake.lastQualifier.size(), sizeof passed);
    std::memcpy(&passed, fake.lastQualifier.data(), sizeof passed);
    EXPECT_EQ(passed, pid);
}

TEST_F(HardwareCallTest, OwnsATextThatItReads) {
    fake.properties[{kDevice, ::kAudioDevicePropertyDeviceUID}] =
        std::string("Built-in Sp\u00e9aker");
    PropertyObject* slot = nullptr;
    std::uint32_t size = sizeof slot;
    ASSERT_EQ(hardware->getPropertyData(kDevice, global(tapwell::kAudioDevicePropertyDeviceUID), {},
                                        size, &slot),
              0);
    const std::unique_ptr<PropertyObject> object(slot);
    EXPECT_EQ(object->string(), "Built-in Sp\u00e9aker");
    EXPECT_EQ(object->description(), "fake \"Built-in Sp\u00e9aker\"");
    EXPECT_EQ(size, sizeof slot);
}

TEST_F(HardwareCallTest, RefusesTooLittleRoomForAText) {
    fake.properties[{kDevice, ::kAudioDevicePropertyDeviceUID}] = std::string("x");
    std::uint32_t size = 4;
    std::uint32_t untouched = 0xABCD;
    EXPECT_EQ(hardware->getPropertyData(kDevice, global(tapwell::kAudioDevicePropertyDeviceUID), {},
                                        size, &untouched),
              tapwell::kAudioHardwareBadPropertySizeError);
    EXPECT_EQ(untouched, 0xABCDu);
    EXPECT_THAT(fake.calls, IsEmpty());
}

TEST_F(HardwareCallTest, HandsBackEveryFailureAndLeavesOutputsAlone) {
    for (const char* function :
         {"AudioObjectGetPropertyDataSize", "AudioObjectGetPropertyData",
          "AudioObjectAddPropertyListenerBlock", "AudioHardwareCreateAggregateDevice",
          "AudioDeviceCreateIOProcIDWithBlock", "AudioHardwareCreateProcessTap"})
        fake.failures[function] = kFailure;
    std::uint32_t size = 77;
    double value = 5;
    PropertyObject* object = nullptr;
    AudioObjectID made = 99;
    AudioIOProcID procedure = 98;
    const auto rate = global(tapwell::kAudioDevicePropertyNominalSampleRate);
    EXPECT_EQ(hardware->getPropertyDataSize(kDevice, rate, {}, size), kFailure);
    EXPECT_EQ(hardware->getPropertyData(kDevice, rate, {}, size, &value), kFailure);
    EXPECT_EQ(hardware->getPropertyData(kDevice, global(tapwell::kAudioDevicePropertyDeviceUID), {},
                                        size, &object),
              kFailure);
    EXPECT_EQ(hardware->createProcessTap({}, made), kFailure);
    EXPECT_EQ(hardware->createAggregateDevice({}, made), kFailure);
    EXPECT_EQ(hardware->createIOProcID(procedure, kDevice, queue, [](auto&&...) {}), kFailure);
    EXPECT_EQ(hardware->addPropertyListener(
                  kDevice, rate, queue, std::make_shared<AudioPropertyListenerBlock>([](auto) {})),
              kFailure);
    EXPECT_EQ(size, 77u);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(made, 99u);
    EXPECT_EQ(procedure, 98u);
}

TEST_F(HardwareCallTest, AListenerHearsOfChangesUntilItIsRemoved) {
    std::vector<std::uint32_t> heard;
    const auto listener = std::make_shared<AudioPropertyListenerBlock>(
        [&](std::span<const AudioObjectPropertyAddress> addresses) {
            for (const auto& address : addresses)
                heard.push_back(address.selector);
        });
    const auto address = global(tapwell::kAudioHardwarePropertyDefaultInputDevice);
    ASSERT_EQ(hardware->addPropertyListener(1, address, queue, listener), 0);
    fake.change(1, ::kAudioHardwarePropertyDefaultInputDevice);
    EXPECT_THAT(heard, IsEmpty()) << "it is called on its queue";
    fake.drain();
    EXPECT_THAT(
        heard, ElementsAre(::kAudioObjectPropertyName, ::kAudioHardwarePropertyDefaultInputDevice));
    EXPECT_EQ(hardware->removePropertyListener(1, address, queue, listener), 0);
    fake.change(1, ::kAudioHardwarePropertyDefaultInputDevice);
    fake.drain();
    EXPECT_EQ(heard.size(), 2u);
    EXPECT_NE(hardware->removePropertyListener(1, address, queue, listener), 0);
    EXPECT_EQ(fake.calls.size(), 2u) << "one add, one remove";
}

TEST_F(HardwareCallTest, TwoListenersOfOnePropertyAreTwo) {
    int first = 0;
    int second = 0;
    const auto one = std::make_shared<AudioPropertyListenerBlock>([&](auto) { ++first; });
    const auto two = std::make_shared<AudioPropertyListenerBlock>([&](auto) { ++second; });
    const auto address = global(tapwell::kAudioHardwarePropertyDefaultOutputDevice);
    hardware->addPropertyListener(1, address, queue, one);
    hardware->addPropertyListener(1, address, queue, two);
    hardware->removePropertyListener(1, address, queue, one);
    fake.change(1, ::kAudioHardwarePropertyDefaultOutputDevice);
    fake.drain();
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

TEST_F(HardwareCallTest, AFailedRemovalStillLetsGoOfTheListener) {
    const auto listener = std::make_shared<AudioPropertyListenerBlock>([](auto) {});
    const auto address = global(tapwell::kAudioHardwarePropertyDefaultOutputDevice);
    hardware->addPropertyListener(1, address, queue, listener);
    fake.failures["AudioObjectRemovePropertyListenerBlock"] = kFailure;
    EXPECT_EQ(hardware->removePropertyListener(1, address, queue, listener), kFailure);
    // The system's own reference, which it keeps for itself after a failure.
    EXPECT_EQ(listener.use_count(), 2);
    fake.failures.clear();
    const auto left = fake.listeners.front();
    ::AudioObjectPropertyAddress where = left.address;
    AudioObjectRemovePropertyListenerBlock(1, &where, left.queue, left.given);
    EXPECT_EQ(listener.use_count(), 1);
}

TEST_F(HardwareCallTest, DescribesAnAggregateByItsEightEntries) {
    const PropertyDictionary device{{{"uid", std::string("speaker")}}};
    const PropertyDictionary tap{{{"drift", true}, {"uid", std::string("TAP")}}};
    const PropertyDictionary description{{{"name", std::string("n")},
                                          {"uid", std::string("u")},
                                          {"master", std::string("speaker")},
                                          {"private", true},
                                          {"stacked", false},
                                          {"tapautostart", true},
                                          {"subdevices", std::vector{device}},
                                          {"taps", std::vector{tap}}}};
    AudioObjectID made = 0;
    ASSERT_EQ(hardware->createAggregateDevice(description, made), 0);
    EXPECT_EQ(fake.lastAggregate,
              R"({"master": "speaker", "name": "n", "private": 1, "stacked": 0, )"
              R"("subdevices": [{"uid": "speaker"}], "tapautostart": 1, )"
              R"("taps": [{"drift": 1, "uid": "TAP"}], "uid": "u"})");
    EXPECT_EQ(hardware->destroyAggregateDevice(made), 0);
    EXPECT_EQ(fake.deviceCount(), 0u);
}

TEST_F(HardwareCallTest, ATextThatIsNoUtf8IsLeftOutOfADescription) {
    AudioObjectID made = 0;
    ASSERT_EQ(hardware->createAggregateDevice(
                  {{{"name", std::string("\xFF")}, {"uid", std::string("u")}}}, made),
              0);
    EXPECT_EQ(fake.lastAggregate, R"({"uid": "u"})");
    hardware->destroyAggregateDevice(made);
}

TEST_F(HardwareCallTest, DeliversCyclesWithTimesAndMemoryWhileItRuns) {
    std::vector<AudioBuffer> heard;
    AudioTimeStamp heardNow;
    AudioTimeStamp heardTime;
    AudioIOProcID procedure = 0;
    ASSERT_EQ(hardware->createIOProcID(procedure, kDevice, queue,
                                       [&](const AudioTimeStamp& now, AudioBufferList input,
                                           const AudioTimeStamp& inputTime) {
                                           heard.assign(input.begin(), input.end());
                                           heardNow = now;
                                           heardTime = inputTime;
                                       }),
              0);
    std::vector<float> left(4);
    std::vector<float> right(4);
    struct {
        UInt32 count;
        ::AudioBuffer buffers[2];
    } list{2, {{1, 16, left.data()}, {1, 16, right.data()}}};
    const ::AudioTimeStamp time{
        512, 1000, 1, 0, {}, ::kAudioTimeStampSampleTimeValid | ::kAudioTimeStampHostTimeValid, 0};
    const auto& input = reinterpret_cast<const ::AudioBufferList&>(list);

    fake.cycle(input, time);
    EXPECT_THAT(heard, IsEmpty()) << "not started";
    ASSERT_EQ(hardware->startDevice(kDevice, procedure), 0);
    fake.cycle(input, time);
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].data, left.data());
    EXPECT_EQ(heard[1].data, right.data());
    EXPECT_EQ(heard[1].dataByteSize, 16u);
    EXPECT_EQ(heard[1].numberChannels, 1u);
    EXPECT_TRUE(heardTime.hasSampleTime() && heardTime.hasHostTime());
    EXPECT_EQ(heardTime.sampleTime, 512);
    EXPECT_EQ(heardTime.hostTime, 1000u);
    EXPECT_FALSE(heardNow.hasSampleTime());
    EXPECT_EQ(heardNow.hostTime, 1001u);

    heard.clear();
    EXPECT_EQ(hardware->stopDevice(kDevice, procedure), 0);
    fake.cycle(input, time);
    EXPECT_THAT(heard, IsEmpty()) << "stopped";
    EXPECT_EQ(hardware->destroyIOProcID(kDevice, procedure), 0);
}

TEST_F(HardwareCallTest, StopsARunningProcedureBeforeItDestroysIt) {
    AudioIOProcID procedure = 0;
    hardware->createIOProcID(procedure, kDevice, queue, [](auto&&...) {});
    hardware->startDevice(kDevice, procedure);
    fake.calls.clear();
    EXPECT_EQ(hardware->destroyIOProcID(kDevice, procedure), 0);
    EXPECT_THAT(fake.calls, ElementsAre("AudioDeviceStop 7", "AudioDeviceDestroyIOProcID 7"));
}

TEST_F(HardwareCallTest, KnowsTheProceduresOfADevice) {
    AudioIOProcID procedure = 0;
    hardware->createIOProcID(procedure, kDevice, queue, [](auto&&...) {});
    fake.calls.clear();
    EXPECT_EQ(hardware->startDevice(kDevice + 1, procedure), tapwell::kAudioHardwareBadDeviceError);
    EXPECT_EQ(hardware->stopDevice(kDevice, procedure + 1), tapwell::kAudioHardwareBadDeviceError);
    EXPECT_EQ(hardware->destroyIOProcID(kDevice + 1, procedure),
              tapwell::kAudioHardwareBadDeviceError);
    EXPECT_THAT(fake.calls, IsEmpty());
    EXPECT_EQ(hardware->destroyIOProcID(kDevice, procedure), 0);
}

TEST_F(HardwareCallTest, TakesDownWhatIsLeftAtItsEnd) {
    AudioIOProcID procedure = 0;
    hardware->createIOProcID(procedure, kDevice, queue, [](auto&&...) {});
    hardware->startDevice(kDevice, procedure);
    hardware->addPropertyListener(1, global(tapwell::kAudioHardwarePropertyDefaultOutputDevice),
                                  queue, std::make_shared<AudioPropertyListenerBlock>([](auto) {}));
    hardware.reset();
    EXPECT_EQ(fake.procedureCount() + fake.listenerCount(), 0u);
}

}  // namespace
}  // namespace tapwell
