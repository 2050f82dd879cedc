#include "Fakes/ObjectiveC.h"

#include <unwind.h>

#include <cstdint>
#include <typeinfo>

extern "C" {

using maccheck::Object;

Object* objc_retain(Object* object);
void objc_release(Object* object);
[[noreturn]] void objc_exception_throw(Object* exception);

_Unwind_Reason_Code __gxx_personality_v0(int version, _Unwind_Action actions, std::uint64_t kind,
                                         _Unwind_Exception* exception, _Unwind_Context* context);
_Unwind_Reason_Code __gnustep_objcxx_personality_v0(int version, _Unwind_Action actions,
                                                    std::uint64_t kind,
                                                    _Unwind_Exception* exception,
                                                    _Unwind_Context* context);

}  // extern "C"

// An exception of Objective-C is thrown as one of C++ that holds the object; only `@catch` takes
// the object out again, and hence other handlers see it as something that they do not know.
namespace {

struct Thrown {
    explicit Thrown(Object* exception) : object(objc_retain(exception)) {}
    Thrown(const Thrown& other) : object(objc_retain(other.object)) {}
    Thrown& operator=(const Thrown&) = delete;
    ~Thrown() { objc_release(object); }

    Object* const object;
};

}  // namespace

// The compiler makes an object of this type for every class that is caught.
namespace gnustep::libobjc {

struct __objc_class_type_info : std::type_info {
    explicit __objc_class_type_info(const char* name) : std::type_info(name) {}
    bool __do_catch(const std::type_info* thrown, void** object, unsigned outer) const override;
};

bool __objc_class_type_info::__do_catch(const std::type_info* thrown, void** object,
                                        unsigned) const {
    if (*thrown != typeid(Thrown)) return false;
    Object* const exception = static_cast<const Thrown*>(*object)->object;
    if (!maccheck::isKindOf(exception->isa, name())) return false;
    *object = exception;
    return true;
}

}  // namespace gnustep::libobjc

void objc_exception_throw(Object* exception) {
    throw Thrown(exception);
}

_Unwind_Reason_Code __gnustep_objcxx_personality_v0(int version, _Unwind_Action actions,
                                                    std::uint64_t kind,
                                                    _Unwind_Exception* exception,
                                                    _Unwind_Context* context) {
    return __gxx_personality_v0(version, actions, kind, exception, context);
}
