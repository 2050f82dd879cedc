#pragma once

#include <CoreFoundation/CoreFoundation.h>

#ifdef __APPLE__
// The C headers of macOS hold the language's own part.
#include <objc/NSObject.h>
#else
typedef long NSInteger;
typedef unsigned long NSUInteger;
typedef bool BOOL;
#define YES __objc_yes
#define NO __objc_no
#define nil nullptr

__attribute__((objc_root_class))
@interface NSObject {
    Class isa;
}
+ (instancetype)alloc;
- (instancetype)init;
@end
#endif
static_assert(sizeof(BOOL) == 1 && sizeof(NSInteger) == 8);

@class NSString;

@protocol NSCopying
@end

@interface NSString : NSObject <NSCopying>
+ (instancetype)stringWithUTF8String:(const char*)text;
@property(readonly) const char* UTF8String __attribute__((objc_returns_inner_pointer));
@end

// The class of string literals.
@interface NSSimpleCString : NSString
@end
@interface NSConstantString : NSSimpleCString
@end

@interface NSNumber : NSObject <NSCopying>
+ (NSNumber*)numberWithUnsignedInt:(unsigned int)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
+ (NSNumber*)numberWithDouble:(double)value;
@end

@interface NSArray<__covariant Element> : NSObject
+ (instancetype)array;
@end

@interface NSMutableArray<Element> : NSArray <Element>
- (void)addObject:(Element)object;
@end

@interface NSDictionary<__covariant Key, __covariant Value> : NSObject
+ (instancetype)dictionaryWithObjects:(const Value _Nonnull[])values
                              forKeys:(const Key<NSCopying> _Nonnull[])keys
                                count:(NSUInteger)count;
@end

@interface NSUUID : NSObject <NSCopying>
- (instancetype)initWithUUIDString:(NSString*)text;
@end

@interface NSURL : NSObject
+ (NSURL*)fileURLWithPath:(NSString*)path;
@end

@interface NSError : NSObject
@property(readonly, copy) NSString* domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSString* localizedDescription;
@end

__attribute__((objc_exception))
@interface NSException : NSObject
@end

@interface NSLocale : NSObject
- (instancetype)initWithLocaleIdentifier:(NSString*)identifier;
@end

@interface NSOperationQueue : NSObject
@property NSInteger maxConcurrentOperationCount;
@property(copy) NSString* name;
@end

@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (BOOL)boolForKey:(NSString*)key;
- (void)setBool:(BOOL)value forKey:(NSString*)key;
@end
