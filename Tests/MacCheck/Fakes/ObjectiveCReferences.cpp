#include "Fakes/FakeSystem.h"
#include "Fakes/ObjectiveC.h"

#include <Block.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

extern "C" {
extern void* _NSConcreteGlobalBlock[];
extern void* _NSConcreteStackBlock[];
}

// References, as code compiled with automatic counting takes and gives them. Every object is
// counted from its making to its end among the fakes' live ones; memory is given back at once, so
// that the address sanitizer sees a use after the last release.
namespace maccheck {
namespace {

struct Header {
    alignas(16) long references;
};

Header* headerOf(Object* object) {
    return reinterpret_cast<Header*>(object) - 1;
}

struct Block {
    Object object;
    unsigned int flags;
};

/// The blocks' library leaves the class of a copy as it was.
bool isBlock(const Object* object) {
    const void* const isa = object->isa;
    return isa == _NSConcreteStackBlock || isa == _NSConcreteGlobalBlock;
}

bool isCopiedBlock(const Object* object) {
    constexpr unsigned int kNeedsFree = 1u << 24;
    return (reinterpret_cast<const Block*>(object)->flags & kNeedsFree) != 0;
}

/// Also a block on the stack, as long as its function runs: only a copy of it is counted.
bool livesForever(const Object* object) {
    if (isBlock(object)) return !isCopiedBlock(object);
    return isClass(object) || isKindOf(object->isa, "NSConstantString");
}

void call(const Method* method, Object* object, const char* name) {
    if (method == nullptr) return;
    const Selector selector{name, nullptr};
    reinterpret_cast<void (*)(Object*, const Selector*)>(method->implementation)(object, &selector);
}

void construct(const Class* type, Object* object) {
    if (type->superclass != nullptr) construct(type->superclass, object);
    call(ownMethod(type, ".cxx_construct"), object, ".cxx_construct");
}

void destroy(Object* object) {
    for (const Class* type = object->isa; type != nullptr; type = type->superclass)
        call(ownMethod(type, ".cxx_destruct"), object, ".cxx_destruct");
    --FakeSystem::get().liveObjects;
    std::free(headerOf(object));
}

Object* retain(Object* object) {
    if (object == nullptr || livesForever(object)) return object;
    if (isBlock(object)) return static_cast<Object*>(_Block_copy(object));
    ++headerOf(object)->references;
    return object;
}

void release(Object* object) {
    if (object == nullptr || livesForever(object)) return;
    if (isBlock(object)) return _Block_release(object);
    if (--headerOf(object)->references == 0) destroy(object);
}

/// One pool of the thread, or the mark at which the next one begins.
std::vector<Object*>& pools() {
    static std::vector<Object*> all;
    return all;
}

std::size_t openPools = 0;

Object* autorelease(Object* object) {
    if (object == nullptr) return nullptr;
    if (openPools == 0)
        FakeSystem::get().violated(std::string("autoreleased without a pool: ") +
                                   (isBlock(object) ? "a block" : object->isa->name));
    pools().push_back(object);
    return object;
}

}  // namespace

Object* createInstance(Class* type) {
    const auto size = sizeof(Header) + static_cast<std::size_t>(type->instanceSize);
    auto* const header = static_cast<Header*>(std::calloc(1, size));
    if (header == nullptr) throw std::bad_alloc();
    header->references = 1;
    auto* const object = reinterpret_cast<Object*>(header + 1);
    object->isa = type;
    construct(type, object);
    ++FakeSystem::get().liveObjects;
    return object;
}

void emptyPools() {
    for (Object* const object : std::exchange(pools(), {}))
        release(object);
    openPools = 0;
}

}  // namespace maccheck

extern "C" {

using maccheck::Object;

Object* objc_retain(Object* object);
void objc_release(Object* object);
Object* objc_autorelease(Object* object);
Object* objc_retainAutorelease(Object* object);
Object* objc_autoreleaseReturnValue(Object* object);
Object* objc_retainAutoreleaseReturnValue(Object* object);
Object* objc_retainAutoreleasedReturnValue(Object* object);
Object* objc_retainBlock(Object* block);
void objc_storeStrong(Object** slot, Object* object);
void* objc_autoreleasePoolPush(void);
void objc_autoreleasePoolPop(void* pool);

Object* objc_retain(Object* object) {
    return maccheck::retain(object);
}

void objc_release(Object* object) {
    maccheck::release(object);
}

Object* objc_autorelease(Object* object) {
    return maccheck::autorelease(object);
}

Object* objc_retainAutorelease(Object* object) {
    return maccheck::autorelease(maccheck::retain(object));
}

// The system lets a value pass from callee to caller without a pool where it can; here it never
// can.
Object* objc_autoreleaseReturnValue(Object* object) {
    return maccheck::autorelease(object);
}

Object* objc_retainAutoreleaseReturnValue(Object* object) {
    return maccheck::autorelease(maccheck::retain(object));
}

Object* objc_retainAutoreleasedReturnValue(Object* object) {
    return maccheck::retain(object);
}

Object* objc_retainBlock(Object* block) {
    return static_cast<Object*>(_Block_copy(block));
}

void objc_storeStrong(Object** slot, Object* object) {
    maccheck::retain(object);
    maccheck::release(std::exchange(*slot, object));
}

void* objc_autoreleasePoolPush(void) {
    ++maccheck::openPools;
    maccheck::pools().push_back(nullptr);
    return reinterpret_cast<void*>(maccheck::pools().size());
}

/// Also of those that an exception has left open above it.
void objc_autoreleasePoolPop(void* pool) {
    auto& pools = maccheck::pools();
    while (pools.size() >= reinterpret_cast<std::size_t>(pool)) {
        Object* const object = pools.back();
        pools.pop_back();
        if (object == nullptr)
            --maccheck::openPools;
        else
            maccheck::release(object);
    }
}

}  // extern "C"
