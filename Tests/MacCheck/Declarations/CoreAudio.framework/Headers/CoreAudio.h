#pragma once

#include <CoreAudioTypes/CoreAudioTypes.h>
#include <dispatch/dispatch.h>

typedef UInt32 AudioObjectID;
typedef UInt32 AudioObjectPropertySelector;
typedef UInt32 AudioObjectPropertyScope;
typedef UInt32 AudioObjectPropertyElement;

struct AudioObjectPropertyAddress {
    AudioObjectPropertySelector mSelector;
    AudioObjectPropertyScope mScope;
    AudioObjectPropertyElement mElement;
};
static_assert(sizeof(AudioObjectPropertyAddress) == 12 && alignof(AudioObjectPropertyAddress) == 4);

enum : OSStatus {
    kAudioHardwareNotRunningError = 'stop',
    kAudioHardwareUnspecifiedError = 'what',
    kAudioHardwareUnknownPropertyError = 'who?',
    kAudioHardwareBadPropertySizeError = '!siz',
    kAudioHardwareIllegalOperationError = 'nope',
    kAudioHardwareBadObjectError = '!obj',
    kAudioHardwareBadDeviceError = '!dev',
    kAudioHardwareNotReadyError = 'nrdy',
    kAudioDeviceUnsupportedFormatError = '!dat',
    kAudioDevicePermissionsError = '!hog',
};
static_assert(kAudioDevicePermissionsError == 0x21686F67);

enum : AudioObjectID { kAudioObjectUnknown = 0, kAudioObjectSystemObject = 1 };
enum : AudioObjectPropertyScope {
    kAudioObjectPropertyScopeGlobal = 'glob',
    kAudioObjectPropertyScopeInput = 'inpt',
    kAudioObjectPropertyScopeOutput = 'outp',
};
enum : AudioObjectPropertyElement { kAudioObjectPropertyElementMain = 0 };
enum : AudioObjectPropertySelector {
    kAudioHardwarePropertyDefaultSystemOutputDevice = 'sOut',
    kAudioHardwarePropertyDefaultOutputDevice = 'dOut',
    kAudioHardwarePropertyDefaultInputDevice = 'dIn ',
    kAudioHardwarePropertyTranslatePIDToProcessObject = 'id2p',
    kAudioObjectPropertyName = 'lnam',
    kAudioObjectPropertyManufacturer = 'lmak',
    kAudioDevicePropertyDeviceUID = 'uid ',
    kAudioDevicePropertyNominalSampleRate = 'nsrt',
    kAudioDevicePropertyActualSampleRate = 'asrt',
    kAudioDevicePropertyTransportType = 'tran',
    kAudioStreamPropertyVirtualFormat = 'sfmt',
    kAudioProcessPropertyBundleID = 'pbid',
    kAudioTapPropertyUID = 'tuid',
    kAudioTapPropertyFormat = 'tfmt',
};
static_assert(kAudioHardwarePropertyDefaultInputDevice == 0x64496E20);
static_assert(kAudioTapPropertyFormat == 0x74666D74);
enum : UInt32 {
    kAudioDeviceTransportTypeUnknown = 0,
    kAudioDeviceTransportTypeBuiltIn = 'bltn',
    kAudioDeviceTransportTypeVirtual = 'virt',
    kAudioDeviceTransportTypeBluetooth = 'blue',
    kAudioDeviceTransportTypeBluetoothLE = 'blea',
};

#define kAudioAggregateDeviceUIDKey "uid"
#define kAudioAggregateDeviceNameKey "name"
#define kAudioAggregateDeviceSubDeviceListKey "subdevices"
#define kAudioAggregateDeviceMainSubDeviceKey "master"
#define kAudioAggregateDeviceIsPrivateKey "private"
#define kAudioAggregateDeviceIsStackedKey "stacked"
#define kAudioAggregateDeviceTapListKey "taps"
#define kAudioAggregateDeviceTapAutoStartKey "tapautostart"
#define kAudioSubDeviceUIDKey "uid"
#define kAudioSubTapUIDKey "uid"
#define kAudioSubTapDriftCompensationKey "drift"

typedef void (^AudioObjectPropertyListenerBlock)(UInt32 count,
                                                 const AudioObjectPropertyAddress* addresses);
typedef OSStatus (*AudioDeviceIOProc)(AudioObjectID device, const AudioTimeStamp* now,
                                      const AudioBufferList* input, const AudioTimeStamp* inputTime,
                                      AudioBufferList* output, const AudioTimeStamp* outputTime,
                                      void* context);
typedef AudioDeviceIOProc AudioDeviceIOProcID;
typedef void (^AudioDeviceIOBlock)(const AudioTimeStamp* now, const AudioBufferList* input,
                                   const AudioTimeStamp* inputTime, AudioBufferList* output,
                                   const AudioTimeStamp* outputTime);

extern "C" {
OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object,
                                        const AudioObjectPropertyAddress* address,
                                        UInt32 qualifierSize, const void* qualifier,
                                        UInt32* outSize);
OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierSize, const void* qualifier, UInt32* ioSize,
                                    void* outData);
OSStatus AudioObjectAddPropertyListenerBlock(AudioObjectID object,
                                             const AudioObjectPropertyAddress* address,
                                             dispatch_queue_t queue,
                                             AudioObjectPropertyListenerBlock listener);
OSStatus AudioObjectRemovePropertyListenerBlock(AudioObjectID object,
                                                const AudioObjectPropertyAddress* address,
                                                dispatch_queue_t queue,
                                                AudioObjectPropertyListenerBlock listener);
OSStatus AudioHardwareCreateAggregateDevice(CFDictionaryRef description, AudioObjectID* outDevice);
OSStatus AudioHardwareDestroyAggregateDevice(AudioObjectID device);
OSStatus AudioDeviceCreateIOProcIDWithBlock(AudioDeviceIOProcID* outProcedure, AudioObjectID device,
                                            dispatch_queue_t queue, AudioDeviceIOBlock block);
OSStatus AudioDeviceDestroyIOProcID(AudioObjectID device, AudioDeviceIOProcID procedure);
OSStatus AudioDeviceStart(AudioObjectID device, AudioDeviceIOProcID procedure);
OSStatus AudioDeviceStop(AudioObjectID device, AudioDeviceIOProcID procedure);
}
