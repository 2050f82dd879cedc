#pragma once

#include <CoreAudio/CoreAudio.h>
#include <Foundation/Foundation.h>

enum CATapMuteBehavior : NSInteger {
    CATapUnmuted = 0,
    CATapMuted = 1,
    CATapMutedWhenTapped = 2,
};

__attribute__((availability(macos, introduced = 12.0)))
@interface CATapDescription : NSObject
- (instancetype)initStereoGlobalTapButExcludeProcesses:(NSArray<NSNumber*>*)processes;
@property(atomic, copy) NSString* name;
@property(atomic, copy) NSUUID* UUID;
@property(atomic, getter=isMuted) CATapMuteBehavior muteBehavior;
// Nobody uses it: the check of the checks does, to see an unguarded use refused.
@property(atomic, copy) NSArray<NSString*>* bundleIDs
    __attribute__((availability(macos, introduced=26.0)));
@end
