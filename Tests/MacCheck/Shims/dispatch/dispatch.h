// libdispatch as the macOS host uses it, where it is no Objective-C.
#pragma once

#include <cstdint>

typedef struct dispatch_queue_s* dispatch_queue_t;
typedef struct dispatch_queue_attr_s* dispatch_queue_attr_t;
typedef struct dispatch_semaphore_s* dispatch_semaphore_t;
typedef std::uint64_t dispatch_time_t;
typedef void (*dispatch_function_t)(void* context);
typedef unsigned int qos_class_t;

#define DISPATCH_TIME_NOW 0ull
#define DISPATCH_TIME_FOREVER (~0ull)
#define DISPATCH_QUEUE_SERIAL nullptr

constexpr qos_class_t QOS_CLASS_USER_INTERACTIVE = 0x21;
constexpr qos_class_t QOS_CLASS_USER_INITIATED = 0x19;
constexpr qos_class_t QOS_CLASS_DEFAULT = 0x15;
constexpr qos_class_t QOS_CLASS_UTILITY = 0x11;

extern "C" {
// A union of all its object types in C; here their common pointer is enough.
void dispatch_release(void* object);
dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(dispatch_queue_attr_t attribute,
                                                              qos_class_t qosClass,
                                                              int relativePriority);
dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attribute);
void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                      dispatch_function_t work);
dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t nanoseconds);
dispatch_semaphore_t dispatch_semaphore_create(long value);
long dispatch_semaphore_signal(dispatch_semaphore_t semaphore);
long dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout);
}
