// Declarations of the system's that the macOS host uses, and no others.
#pragma once

#include <cstdint>

typedef unsigned char Boolean;
typedef std::uint8_t UInt8;
typedef std::uint16_t UInt16;
typedef std::int16_t SInt16;
typedef std::uint32_t UInt32;
typedef std::int32_t SInt32;
#ifdef __APPLE__
typedef unsigned long long UInt64;
typedef long long SInt64;
#else
typedef std::uint64_t UInt64;
typedef std::int64_t SInt64;
#endif
typedef double Float64;
typedef SInt32 OSStatus;
enum : OSStatus { noErr = 0 };

typedef long CFIndex;
typedef unsigned long CFTypeID;
typedef UInt32 CFStringEncoding;
typedef CFIndex CFNumberType;

typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFLocale* CFLocaleRef;
// Their members are the system's own business; only their addresses are used.
typedef struct CFDictionaryKeyCallBacks CFDictionaryKeyCallBacks;
typedef struct CFDictionaryValueCallBacks CFDictionaryValueCallBacks;
typedef struct CFArrayCallBacks CFArrayCallBacks;

constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;
constexpr CFNumberType kCFNumberSInt32Type = 3;

extern "C" {
extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
CFStringRef CFCopyDescription(CFTypeRef object);

CFTypeID CFStringGetTypeID(void);
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding);

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks);
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks);
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);

CFLocaleRef CFLocaleCopyCurrent(void);
CFStringRef CFLocaleGetIdentifier(CFLocaleRef locale);
}

static_assert(sizeof(Boolean) == 1 && sizeof(OSStatus) == 4 && sizeof(UInt64) == 8);
static_assert(sizeof(CFIndex) == 8);
