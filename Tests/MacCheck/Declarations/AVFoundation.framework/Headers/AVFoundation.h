#pragma once

#include <AVFAudio/AVFAudio.h>
#include <CoreMedia/CoreMedia.h>
#include <Foundation/Foundation.h>

typedef NSString* AVMediaType;
typedef NSString* AVFileType;

extern "C" {
extern AVMediaType const AVMediaTypeAudio;
extern AVFileType const AVFileTypeAppleM4A;
extern NSString* const AVFormatIDKey;
extern NSString* const AVSampleRateKey;
extern NSString* const AVNumberOfChannelsKey;
extern NSString* const AVEncoderBitRateKey;
}

enum AVAuthorizationStatus : NSInteger {
    AVAuthorizationStatusNotDetermined = 0,
    AVAuthorizationStatusRestricted = 1,
    AVAuthorizationStatusDenied = 2,
    AVAuthorizationStatusAuthorized = 3,
};
enum AVAssetWriterStatus : NSInteger {
    AVAssetWriterStatusUnknown = 0,
    AVAssetWriterStatusWriting = 1,
    AVAssetWriterStatusCompleted = 2,
    AVAssetWriterStatusFailed = 3,
    AVAssetWriterStatusCancelled = 4,
};

__attribute__((availability(macos, introduced = 10.7)))
@interface AVCaptureDevice : NSObject
+ (AVAuthorizationStatus)authorizationStatusForMediaType:(AVMediaType)type
    __attribute__((availability(macos, introduced = 10.14)));
+ (void)requestAccessForMediaType:(AVMediaType)type
                completionHandler:(void (^)(BOOL granted))handler
    __attribute__((availability(macos, introduced = 10.14)));
@end

__attribute__((availability(macos, introduced = 10.7)))
@interface AVAssetWriterInput : NSObject
- (instancetype)initWithMediaType:(AVMediaType)type
                   outputSettings:(NSDictionary<NSString*, id>*)settings
                 sourceFormatHint:(CMFormatDescriptionRef)hint;
@property(nonatomic) BOOL expectsMediaDataInRealTime;
@property(nonatomic, readonly, getter=isReadyForMoreMediaData) BOOL readyForMoreMediaData;
- (BOOL)appendSampleBuffer:(CMSampleBufferRef)buffer;
- (void)markAsFinished;
@end

__attribute__((availability(macos, introduced = 10.7)))
@interface AVAssetWriter : NSObject
- (instancetype)initWithURL:(NSURL*)url
                   fileType:(AVFileType)type
                      error:(NSError* __autoreleasing*)outError;
- (BOOL)canAddInput:(AVAssetWriterInput*)input;
- (void)addInput:(AVAssetWriterInput*)input;
- (BOOL)startWriting;
- (void)startSessionAtSourceTime:(CMTime)time;
- (void)finishWritingWithCompletionHandler:(void (^)(void))handler
    __attribute__((availability(macos, introduced = 10.9)));
@property(nonatomic) CMTime movieFragmentInterval;
@property(readonly) AVAssetWriterStatus status;
@property(readonly) NSError* error;
@end
