// The seam speaks of the audio hardware in numbers and keys of its own; here each is held against
// what this system's headers say.
#include "Platform/AssetWriter.h"
#include "Platform/AudioFormat.h"
#include "Platform/AudioObject.h"
#include "Platform/AudioStreamBasicDescription.h"
#include "Platform/AudioTimeStamp.h"
#include "Platform/MediaTime.h"
#include "Platform/OSStatus.h"
#include "Platform/PropertyDictionary.h"

#include <string_view>

namespace tapwell::seam {

// The system's names of these are macros, which hide ours from here on.
constexpr std::string_view kAggregateName = kAudioAggregateDeviceNameKey;
constexpr std::string_view kAggregateUID = kAudioAggregateDeviceUIDKey;
constexpr std::string_view kAggregateMainSubDevice = kAudioAggregateDeviceMainSubDeviceKey;
constexpr std::string_view kAggregateIsPrivate = kAudioAggregateDeviceIsPrivateKey;
constexpr std::string_view kAggregateIsStacked = kAudioAggregateDeviceIsStackedKey;
constexpr std::string_view kAggregateTapAutoStart = kAudioAggregateDeviceTapAutoStartKey;
constexpr std::string_view kAggregateSubDeviceList = kAudioAggregateDeviceSubDeviceListKey;
constexpr std::string_view kAggregateTapList = kAudioAggregateDeviceTapListKey;
constexpr std::string_view kSubDeviceUID = kAudioSubDeviceUIDKey;
constexpr std::string_view kSubTapUID = kAudioSubTapUIDKey;
constexpr std::string_view kSubTapDriftCompensation = kAudioSubTapDriftCompensationKey;

}  // namespace tapwell::seam

#include <CoreAudio/CoreAudio.h>

namespace tapwell::seam {

static_assert(kAggregateName == kAudioAggregateDeviceNameKey);
static_assert(kAggregateUID == kAudioAggregateDeviceUIDKey);
static_assert(kAggregateMainSubDevice == kAudioAggregateDeviceMainSubDeviceKey);
static_assert(kAggregateIsPrivate == kAudioAggregateDeviceIsPrivateKey);
static_assert(kAggregateIsStacked == kAudioAggregateDeviceIsStackedKey);
static_assert(kAggregateTapAutoStart == kAudioAggregateDeviceTapAutoStartKey);
static_assert(kAggregateSubDeviceList == kAudioAggregateDeviceSubDeviceListKey);
static_assert(kAggregateTapList == kAudioAggregateDeviceTapListKey);
static_assert(kSubDeviceUID == kAudioSubDeviceUIDKey);
static_assert(kSubTapUID == kAudioSubTapUIDKey);
static_assert(kSubTapDriftCompensation == kAudioSubTapDriftCompensationKey);

// Enumerators of the system are of many types, hence the sums with 0u.
#define TAPWELL_SAME(name) static_assert(tapwell::name + 0u == ::name + 0u)
TAPWELL_SAME(kAudioObjectUnknown);
TAPWELL_SAME(kAudioObjectSystemObject);
TAPWELL_SAME(kAudioObjectPropertyScopeGlobal);
TAPWELL_SAME(kAudioObjectPropertyScopeInput);
TAPWELL_SAME(kAudioObjectPropertyScopeOutput);
TAPWELL_SAME(kAudioObjectPropertyElementMain);
TAPWELL_SAME(kAudioHardwarePropertyDefaultSystemOutputDevice);
TAPWELL_SAME(kAudioHardwarePropertyDefaultOutputDevice);
TAPWELL_SAME(kAudioHardwarePropertyDefaultInputDevice);
TAPWELL_SAME(kAudioHardwarePropertyTranslatePIDToProcessObject);
TAPWELL_SAME(kAudioDevicePropertyDeviceUID);
TAPWELL_SAME(kAudioDevicePropertyNominalSampleRate);
TAPWELL_SAME(kAudioDevicePropertyActualSampleRate);
TAPWELL_SAME(kAudioDevicePropertyTransportType);
TAPWELL_SAME(kAudioStreamPropertyVirtualFormat);
TAPWELL_SAME(kAudioTapPropertyFormat);
TAPWELL_SAME(kAudioDeviceTransportTypeUnknown);
TAPWELL_SAME(kAudioDeviceTransportTypeBuiltIn);
TAPWELL_SAME(kAudioDeviceTransportTypeVirtual);
TAPWELL_SAME(kAudioDeviceTransportTypeBluetooth);
TAPWELL_SAME(kAudioDeviceTransportTypeBluetoothLE);
TAPWELL_SAME(noErr);
TAPWELL_SAME(kAudioHardwareNotRunningError);
TAPWELL_SAME(kAudioHardwareUnspecifiedError);
TAPWELL_SAME(kAudioHardwareUnknownPropertyError);
TAPWELL_SAME(kAudioHardwareBadPropertySizeError);
TAPWELL_SAME(kAudioHardwareIllegalOperationError);
TAPWELL_SAME(kAudioHardwareBadObjectError);
TAPWELL_SAME(kAudioHardwareBadDeviceError);
TAPWELL_SAME(kAudioHardwareNotReadyError);
TAPWELL_SAME(kAudioDeviceUnsupportedFormatError);
TAPWELL_SAME(kAudioDevicePermissionsError);
TAPWELL_SAME(kAudioFormatLinearPCM);
TAPWELL_SAME(kAudioFormatMPEG4AAC);
TAPWELL_SAME(kAudioFormatFlagIsFloat);
TAPWELL_SAME(kAudioFormatFlagIsBigEndian);
TAPWELL_SAME(kAudioFormatFlagIsSignedInteger);
TAPWELL_SAME(kAudioFormatFlagIsPacked);
TAPWELL_SAME(kAudioFormatFlagIsNonInterleaved);
#undef TAPWELL_SAME

static_assert(AudioTimeStamp::kSampleTimeValid == kAudioTimeStampSampleTimeValid);
static_assert(AudioTimeStamp::kHostTimeValid == kAudioTimeStampHostTimeValid);

}  // namespace tapwell::seam
