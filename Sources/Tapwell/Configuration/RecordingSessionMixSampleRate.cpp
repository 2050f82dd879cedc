#include "Tapwell/Configuration/RecordingSessionMixSampleRate.h"

#include "Tapwell/Capture/CoreAudioRecordingUtils.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tapwell {
namespace {

constexpr double kDefaultRateHz = 48000;
constexpr std::array<double, 8> kStandardRatesHz = {8000,  11025, 16000, 22050,
                                                    24000, 32000, 44100, 48000};

bool isUsable(double rate) {
    return std::isfinite(rate) && rate > 0;
}

constexpr double kUnknown = 0;

double usableOrUnknown(std::optional<double> rate) {
    const double value = rate.value_or(kUnknown);
    return isUsable(value) ? value : kUnknown;
}

bool isBluetooth(AudioHardware& hardware, AudioObjectID device) {
    const auto transport = recorderTransportType(hardware, device);
    return transport == kAudioDeviceTransportTypeBluetooth ||
           transport == kAudioDeviceTransportTypeBluetoothLE;
}

/// The hands-free profiles run at 8, 16 or 24 kHz; what a route reports lies near one of them.
double bluetoothRate(double candidate) {
    if (candidate <= 12000) return 8000;
    if (candidate <= 20000) return 16000;
    if (candidate <= 28000) return 24000;
    return RecordingSessionMixSampleRate::pickNearestStandard(candidate);
}

}  // namespace

double RecordingSessionMixSampleRate::pickNearestStandard(double rate) {
    if (!isUsable(rate)) return kDefaultRateHz;
    double best = kStandardRatesHz.front();
    for (double standard : kStandardRatesHz)
        if (std::abs(standard - rate) < std::abs(best - rate)) best = standard;
    return best;
}

double RecordingSessionMixSampleRate::resolveRouteCaptureRateHz(
    AudioHardware& hardware, std::optional<AudioObjectID> defaultOutputDeviceID,
    double tapNominalHz, std::optional<double> aggregateActualSampleRateHz) {
    const double tapRate = isUsable(tapNominalHz) ? tapNominalHz : kDefaultRateHz;
    const double aggregateRate = usableOrUnknown(aggregateActualSampleRateHz);
    if (defaultOutputDeviceID.value_or(kAudioObjectUnknown) == kAudioObjectUnknown)
        return pickNearestStandard(aggregateRate != kUnknown ? aggregateRate : tapRate);

    const AudioObjectID device = *defaultOutputDeviceID;
    const double deviceRate = usableOrUnknown(recorderNominalSampleRate(hardware, device));
    double candidate = tapRate;
    if (aggregateRate != kUnknown && std::abs(aggregateRate - tapRate) > 0.5)
        candidate = aggregateRate;
    else if (deviceRate != kUnknown && deviceRate < tapRate)
        candidate = deviceRate;

    if (isBluetooth(hardware, device)) return bluetoothRate(candidate);
    if (candidate >= 44000) return kDefaultRateHz;
    if (candidate < 22000)
        return pickNearestStandard(
            std::max(candidate, deviceRate != kUnknown ? deviceRate : tapRate));
    return pickNearestStandard(candidate);
}

}  // namespace tapwell
