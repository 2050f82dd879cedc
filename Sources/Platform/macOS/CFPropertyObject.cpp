#include "Platform/macOS/CFPropertyObject.h"

#include "Platform/macOS/CFText.h"

namespace tapwell {

std::optional<std::string> CFPropertyObject::string() const {
    if (CFGetTypeID(object_.get()) != CFStringGetTypeID()) return std::nullopt;
    return textOf(static_cast<CFStringRef>(object_.get()));
}

std::string CFPropertyObject::description() const {
    const CFReference<CFStringRef> text(CFCopyDescription(object_.get()));
    return text ? textOf(text.get()) : std::string();
}

}  // namespace tapwell
