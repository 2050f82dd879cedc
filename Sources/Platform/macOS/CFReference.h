#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace tapwell {

/// Owns one reference to a Core Foundation object, or none. `Ref` is a reference type such as
/// CFStringRef.
template <typename Ref>
class CFReference {
public:
    CFReference() = default;
    /// Takes over a reference that the caller owns: the result of a function whose name says Create
    /// or Copy, or of a property read.
    explicit CFReference(Ref owned) : object_(owned) {}
    ~CFReference() {
        if (object_ != nullptr) CFRelease(object_);
    }
    CFReference(CFReference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    CFReference& operator=(CFReference&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    Ref get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    Ref object_ = nullptr;
};

}  // namespace tapwell
