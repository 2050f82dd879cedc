#pragma once

#include "Platform/PropertyObject.h"
#include "Platform/macOS/CFReference.h"

namespace tapwell {

/// A property value that is a Core Foundation object.
class CFPropertyObject final : public PropertyObject {
public:
    explicit CFPropertyObject(CFReference<CFTypeRef> object) : object_(std::move(object)) {}

    std::optional<std::string> string() const override;
    std::string description() const override;

private:
    const CFReference<CFTypeRef> object_;
};

}  // namespace tapwell
