#include "Fakes/FakeSystem.h"

#include <Block.h>

namespace maccheck {

FakeSystem& FakeSystem::get() {
    static FakeSystem system;
    return system;
}

void FakeSystem::reset() {
    *this = FakeSystem();
}

OSStatus FakeSystem::called(const std::string& function, AudioObjectID object) {
    return called(function, object == 0 ? std::string() : std::to_string(object));
}

OSStatus FakeSystem::called(const std::string& function, const std::string& details) {
    calls.push_back(details.empty() ? function : function + ' ' + details);
    auto failure = failures.find(function);
    if (failure == failures.end()) failure = failures.find(calls.back());
    return failure == failures.end() ? noErr : failure->second;
}

void FakeSystem::change(AudioObjectID object, UInt32 selector) {
    for (const Listener& listener : listeners) {
        if (listener.object != object || listener.address.mSelector != selector) continue;
        struct Call {
            AudioObjectPropertyListenerBlock block;
            AudioObjectPropertyAddress address;
        };
        auto* const call = new Call{Block_copy(listener.copy), listener.address};
        dispatch_async_f(listener.queue, call, [](void* context) {
            auto* const submitted = static_cast<Call*>(context);
            const AudioObjectPropertyAddress addresses[] = {
                {kAudioObjectPropertyName, kAudioObjectPropertyScopeGlobal, 0}, submitted->address};
            submitted->block(2, addresses);
            Block_release(submitted->block);
            delete submitted;
        });
    }
}

void FakeSystem::cycle(const AudioBufferList& input, const AudioTimeStamp& inputTime) {
    const AudioTimeStamp now{.mSampleTime = 0,
                             .mHostTime = inputTime.mHostTime + 1,
                             .mRateScalar = 1,
                             .mWordClockTime = 0,
                             .mSMPTETime = {},
                             .mFlags = kAudioTimeStampHostTimeValid,
                             .mReserved = 0};
    for (const auto& [id, procedure] : procedures)
        if (procedure.isRunning) procedure.copy(&now, &input, &inputTime, nullptr, nullptr);
}

void FakeSystem::drain() {
    while (!work.empty()) {
        const Work next = work.front();
        work.erase(work.begin());
        runningQueue = next.queue;
        next.function(next.context);
        runningQueue = nullptr;
        dispatch_release(next.queue);
    }
}

}  // namespace maccheck
