#pragma once

#include <AVFAudio/AVFAudio.h>
#include <Foundation/Foundation.h>

enum SFSpeechRecognizerAuthorizationStatus : NSInteger {
    SFSpeechRecognizerAuthorizationStatusNotDetermined = 0,
    SFSpeechRecognizerAuthorizationStatusDenied = 1,
    SFSpeechRecognizerAuthorizationStatusRestricted = 2,
    SFSpeechRecognizerAuthorizationStatusAuthorized = 3,
};

@interface SFTranscription : NSObject
@property(nonatomic, readonly, copy) NSString* formattedString;
@end

__attribute__((availability(macos, introduced = 10.15)))
@interface SFSpeechRecognitionResult : NSObject
@property(nonatomic, readonly, copy) SFTranscription* bestTranscription;
@property(nonatomic, readonly, getter=isFinal) BOOL final;
@end

__attribute__((availability(macos, introduced = 10.15)))
@interface SFSpeechRecognitionRequest : NSObject
@property(nonatomic) BOOL shouldReportPartialResults;
@property(nonatomic) BOOL requiresOnDeviceRecognition;
@property(nonatomic) BOOL addsPunctuation __attribute__((availability(macos, introduced=13.0)));
@end

__attribute__((availability(macos, introduced = 10.15)))
@interface SFSpeechAudioBufferRecognitionRequest : SFSpeechRecognitionRequest
- (void)appendAudioPCMBuffer:(AVAudioPCMBuffer*)buffer;
- (void)endAudio;
@end

__attribute__((availability(macos, introduced = 10.15)))
@interface SFSpeechRecognitionTask : NSObject
- (void)finish;
- (void)cancel;
@end

__attribute__((availability(macos, introduced = 10.15)))
@interface SFSpeechRecognizer : NSObject
+ (void)requestAuthorization:(void (^)(SFSpeechRecognizerAuthorizationStatus status))handler;
- (instancetype)initWithLocale:(NSLocale*)locale;
@property(nonatomic, readonly, getter=isAvailable) BOOL available;
@property(nonatomic) BOOL supportsOnDeviceRecognition;
@property(nonatomic, strong) NSOperationQueue* queue;
- (SFSpeechRecognitionTask*)recognitionTaskWithRequest:(SFSpeechRecognitionRequest*)request
                                         resultHandler:(void (^)(SFSpeechRecognitionResult* result,
                                                                 NSError* error))handler;
@end
