#include "Tapwell/Capture/SystemAudioTapSession.h"

#include "Platform/PropertyDictionary.h"
#include "Platform/TapDescription.h"
#include "Tapwell/Capture/CoreAudioRecordingUtils.h"
#include "Tapwell/Capture/RecorderCoreAudioError.h"
#include "Tapwell/Capture/UUID.h"
#include "Tapwell/Diagnostics/TextFormat.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace tapwell {
namespace {

using std::chrono_literals::operator""ms;

constexpr const char* kTapName = "Tolvane Recorder Tap";
constexpr const char* kAggregateNamePrefix = "TolvaneRecorderTap-";
/// Rates closer than this are the same rate, measured twice.
constexpr double kSameRateToleranceHz = 1.0;

RecorderCoreAudioError errorFor(OSStatus status, const std::string& what) {
    if (status == kAudioDevicePermissionsError)
        return RecorderCoreAudioError::systemAudioPermissionDenied();
    return RecorderCoreAudioError::wrapped(what + std::to_string(status));
}

PropertyDictionary aggregateDescription(const std::string& outputUID, const std::string& tapUUID) {
    const std::string uuid = makeUUID();
    const PropertyDictionary subDevice{{{kAudioSubDeviceUIDKey, outputUID}}};
    const PropertyDictionary subTap{
        {{kAudioSubTapDriftCompensationKey, true}, {kAudioSubTapUIDKey, tapUUID}}};
    return {{
        {kAudioAggregateDeviceNameKey, kAggregateNamePrefix + uuid.substr(0, 8)},
        {kAudioAggregateDeviceUIDKey, uuid},
        {kAudioAggregateDeviceMainSubDeviceKey, outputUID},
        {kAudioAggregateDeviceIsPrivateKey, true},
        {kAudioAggregateDeviceIsStackedKey, false},
        {kAudioAggregateDeviceTapAutoStartKey, true},
        {kAudioAggregateDeviceSubDeviceListKey, std::vector{subDevice}},
        {kAudioAggregateDeviceTapListKey, std::vector{subTap}},
    }};
}

}  // namespace

std::shared_ptr<SystemAudioTapSession> SystemAudioTapSession::create(AudioHardware& hardware,
                                                                     const Environment& environment,
                                                                     Log log) {
    return std::shared_ptr<SystemAudioTapSession>(
        new SystemAudioTapSession(hardware, environment, std::move(log)));
}

SystemAudioTapSession::SystemAudioTapSession(AudioHardware& hardware,
                                             const Environment& environment, Log log)
    : hardware_(hardware), environment_(environment), log_(std::move(log)) {}

SystemAudioTapSession::~SystemAudioTapSession() {
    stopAndTeardown();
}

std::optional<AudioFormat> SystemAudioTapSession::ioFormat() const {
    const std::lock_guard hold(ioFormatLock_);
    return ioFormat_;
}

std::optional<double> SystemAudioTapSession::actualRateHz() const {
    if (aggregateDeviceID_ == kAudioObjectUnknown) return std::nullopt;
    return recorderActualSampleRate(hardware_, aggregateDeviceID_);
}

void SystemAudioTapSession::prepareExcludeTapwellPid() {
    stopAndTeardown();
    const auto output = recorderDefaultSystemOutputDeviceObjectID(hardware_);
    if (!output) throw RecorderCoreAudioError::wrapped("default output device missing");
    const std::string outputUID =
        recorderReadCFStringDeviceProperty(hardware_, *output, kAudioDevicePropertyDeviceUID);
    createTap();
    createAggregate(outputUID);
    log_.line("aggregate device oid=" + std::to_string(aggregateDeviceID_) +
              " mainSubDeviceUID=" + outputUID);
    outputDevice_ = output;
}

void SystemAudioTapSession::createTap() {
    const AudioObjectID self = recorderTranslate(hardware_, environment_.processID());
    TapDescription description = TapDescription::stereoGlobalTapButExcludeProcesses({self});
    description.uuid = makeUUID();
    description.name = kTapName;
    description.muteBehavior = TapDescription::MuteBehavior::unmuted;

    AudioObjectID tap = kAudioObjectUnknown;
    const OSStatus status = hardware_.createProcessTap(description, tap);
    if (status != noErr) throw errorFor(status, "audio tap create OSStatus ");
    tapObjectID_ = tap;
    tapUUID_ = description.uuid;
    log_.line("process tap oid=" + std::to_string(tapObjectID_));

    try {
        tapStreamASBD_ = recorderTapStreamBasicDescription(hardware_, tapObjectID_);
    } catch (const RecorderCoreAudioError&) {
        destroyTap();
        throw;
    }
    tapAVFormat_ = AudioFormat::fromStreamDescription(tapStreamASBD_);
    if (!tapAVFormat_) {
        destroyTap();
        throw RecorderCoreAudioError::wrapped("tap AVAudioFormat unavailable");
    }
}

void SystemAudioTapSession::createAggregate(const std::string& outputUID) {
    aggregateDeviceID_ = kAudioObjectUnknown;
    AudioObjectID aggregate = kAudioObjectUnknown;
    const OSStatus status =
        hardware_.createAggregateDevice(aggregateDescription(outputUID, tapUUID_), aggregate);
    if (status != noErr) {
        destroyTap();
        throw errorFor(status, "aggregate create OSStatus ");
    }
    aggregateDeviceID_ = aggregate;
}

void SystemAudioTapSession::run(const std::shared_ptr<SerialQueue>& queue,
                                const AudioFormat& format,
                                const std::function<void()>& beforeAudioDeviceStart, OnIO onIO) {
    if (aggregateDeviceID_ == kAudioObjectUnknown)
        throw RecorderCoreAudioError::wrapped("run before prepare");
    AudioIOProcID proc = 0;
    const OSStatus status = hardware_.createIOProcID(
        proc, aggregateDeviceID_, queue,
        [format, onIO = std::move(onIO)](const AudioTimeStamp&, AudioBufferList input,
                                         const AudioTimeStamp& inputTime) {
            const auto buffer = PcmBuffer::wrappingNoCopy(format, input);
            if (buffer && buffer->frameLength() > 0) onIO(*buffer, inputTime);
        });
    if (status != noErr)
        throw RecorderCoreAudioError::wrapped("create io proc " + std::to_string(status));
    deviceProcID_ = proc;

    if (beforeAudioDeviceStart) beforeAudioDeviceStart();
    startDevice(format);
    scheduleAggregateSemanticRateHintRefresh(queue, format);
}

void SystemAudioTapSession::startDevice(const AudioFormat& format) {
    const OSStatus status = hardware_.startDevice(aggregateDeviceID_, *deviceProcID_);
    if (status == noErr) {
        logActualRate(format);
        return;
    }
    hardware_.destroyIOProcID(aggregateDeviceID_, *deviceProcID_);
    deviceProcID_.reset();
    destroyAggregate();
    destroyTap();
    outputDevice_.reset();
    throw errorFor(status, "aggregate start ");
}

void SystemAudioTapSession::logActualRate(const AudioFormat& format) const {
    const auto actual = recorderActualSampleRate(hardware_, aggregateDeviceID_);
    if (!actual) return;
    const double rate = format.sampleRate();
    const double relative = *actual <= 0 ? 0 : std::abs(*actual - rate) / std::max(rate, 1.0);
    log_.line(
        "diagnostic: aggregate ActualSampleRate=" + shortestText(*actual) +
        " vs tap format sr=" + shortestText(rate) + " (rel=" + fixedText(relative, 4) +
        "); bufferListNoCopy uses tap nominal only; semantic hint via refreshRunningIOFormat");
}

void SystemAudioTapSession::scheduleAggregateSemanticRateHintRefresh(
    const std::shared_ptr<SerialQueue>& queue, const AudioFormat& tapNominalFormat) {
    // The queue's work may keep neither the session nor the queue alive.
    const auto refresh = [weak = weak_from_this(), weakQueue = std::weak_ptr(queue),
                          tapNominalFormat, stream = tapStreamASBD_] {
        const auto self = weak.lock();
        const auto sameQueue = weakQueue.lock();
        if (self && sameQueue) self->refreshRunningIOFormat(sameQueue, tapNominalFormat, stream);
    };
    queue->async(refresh);
    queue->asyncAfter(120ms, refresh);
    queue->asyncAfter(350ms, refresh);
}

void SystemAudioTapSession::refreshRunningIOFormat(const std::shared_ptr<SerialQueue>& queue,
                                                   const AudioFormat& fallback,
                                                   const AudioStreamBasicDescription& tapStream) {
    const double tapRate = fallback.sampleRate();
    const std::string tapText = shortestText(tapRate);
    const AudioObjectID aggregate = aggregateDeviceID_;
    if (aggregate == kAudioObjectUnknown) return;  // torn down since
    const auto stream = recorderVirtualInputStreamFormat(hardware_, aggregate);
    if (stream && stream->sampleRate > 0 &&
        std::abs(stream->sampleRate - tapRate) >= kSameRateToleranceHz)
        log_.line(
            "reason A: aggregate virtual input stream sr=" + shortestText(stream->sampleRate) +
            " ch=" + std::to_string(stream->channelsPerFrame) + " vs tap nominal sr=" + tapText);

    const auto actual = recorderActualSampleRate(hardware_, aggregate);
    if (!actual || *actual <= 0) {
        log_.line("actual sample rate unavailable; using tap rate=" + tapText);
        publishIOFormat(queue, fallback);
        return;
    }
    if (std::abs(*actual - tapRate) < kSameRateToleranceHz) {
        log_.line("running sample rate=" + shortestText(*actual) + " (matches tap nominal)");
        publishIOFormat(queue, fallback);
        return;
    }
    AudioStreamBasicDescription corrected = tapStream;
    corrected.sampleRate = *actual;
    if (const auto format = AudioFormat::fromStreamDescription(corrected)) {
        publishIOFormat(queue, *format);
        log_.line("corrected semantic IO sample rate hint tap=" + tapText +
                  " actual=" + shortestText(*actual) + " (not used for bufferListNoCopy)");
    } else {
        log_.line("could not build corrected IO format actualRate=" + shortestText(*actual) +
                  "; using tap rate=" + tapText);
    }
}

void SystemAudioTapSession::publishIOFormat(const std::shared_ptr<SerialQueue>& queue,
                                            const AudioFormat& format) {
    queue->async([weak = weak_from_this(), format, aggregate = aggregateDeviceID_.load()] {
        const auto self = weak.lock();
        if (!self || self->aggregateDeviceID_ != aggregate) return;
        const std::lock_guard hold(self->ioFormatLock_);
        self->ioFormat_ = format;
    });
}

void SystemAudioTapSession::stopAndTeardown() {
    {
        const std::lock_guard hold(ioFormatLock_);
        ioFormat_.reset();
    }
    if (deviceProcID_) {
        OSStatus status = hardware_.stopDevice(aggregateDeviceID_, *deviceProcID_);
        if (status != noErr) log_.line("AudioDeviceStop err=" + std::to_string(status));
        status = hardware_.destroyIOProcID(aggregateDeviceID_, *deviceProcID_);
        if (status != noErr) log_.line("DestroyIOProc err=" + std::to_string(status));
        deviceProcID_.reset();
    }
    destroyAggregate();
    destroyTap();
    outputDevice_.reset();
}

void SystemAudioTapSession::destroyAggregate() {
    if (aggregateDeviceID_ == kAudioObjectUnknown) return;
    const OSStatus status = hardware_.destroyAggregateDevice(aggregateDeviceID_);
    if (status != noErr) log_.line("destroy aggregate err=" + std::to_string(status));
    aggregateDeviceID_ = kAudioObjectUnknown;
}

void SystemAudioTapSession::destroyTap() {
    if (tapObjectID_ == kAudioObjectUnknown) return;
    const OSStatus status = hardware_.destroyProcessTap(tapObjectID_);
    if (status != noErr) log_.line("destroy tap err=" + std::to_string(status));
    tapObjectID_ = kAudioObjectUnknown;
}

}  // namespace tapwell
