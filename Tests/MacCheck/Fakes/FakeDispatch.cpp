#include "Fakes/FakeDispatch.h"

#include "Fakes/FakeSystem.h"

namespace {

/// What dispatch_release takes: a queue or a semaphore.
struct Object {
    int references = 1;
    long count = 0;  ///< of a semaphore
};

Object* make() {
    ++maccheck::FakeSystem::get().liveObjects;
    return new Object;
}

}  // namespace

namespace maccheck {

void retain(dispatch_queue_t queue) {
    ++reinterpret_cast<Object*>(queue)->references;
    ++FakeSystem::get().liveObjects;
}

}  // namespace maccheck

extern "C" {

void dispatch_release(void* reference) {
    auto* const object = static_cast<Object*>(reference);
    --maccheck::FakeSystem::get().liveObjects;
    if (--object->references == 0) delete object;
}

dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(dispatch_queue_attr_t attribute,
                                                              qos_class_t, int) {
    return attribute;
}

dispatch_queue_t dispatch_queue_create(const char*, dispatch_queue_attr_t) {
    return reinterpret_cast<dispatch_queue_t>(make());
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t function) {
    maccheck::retain(queue);
    maccheck::FakeSystem::get().work.push_back({queue, context, function});
}

void dispatch_sync_f(dispatch_queue_t, void* context, dispatch_function_t function) {
    maccheck::FakeSystem::get().drain();
    function(context);
}

void dispatch_after_f(dispatch_time_t, dispatch_queue_t queue, void* context,
                      dispatch_function_t function) {
    dispatch_async_f(queue, context, function);
}

dispatch_time_t dispatch_time(dispatch_time_t, std::int64_t nanoseconds) {
    return static_cast<dispatch_time_t>(nanoseconds) + 1;
}

dispatch_semaphore_t dispatch_semaphore_create(long value) {
    Object* const semaphore = make();
    semaphore->count = value;
    return reinterpret_cast<dispatch_semaphore_t>(semaphore);
}

long dispatch_semaphore_signal(dispatch_semaphore_t semaphore) {
    return ++reinterpret_cast<Object*>(semaphore)->count;
}

/// Waits for nobody: without a signal it has timed out.
long dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t) {
    long& count = reinterpret_cast<Object*>(semaphore)->count;
    if (count == 0) return 1;
    --count;
    return 0;
}

}  // extern "C"
