#include "Platform/macOS/CFText.h"

namespace tapwell {

CFReference<CFStringRef> makeCFString(const std::string& text) {
    return CFReference<CFStringRef>(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

std::string textOf(CFStringRef string) {
    const CFIndex capacity =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
    std::string text(static_cast<std::size_t>(capacity), '\0');
    if (!CFStringGetCString(string, text.data(), capacity, kCFStringEncodingUTF8)) return {};
    text.resize(text.find('\0'));
    return text;
}

}  // namespace tapwell
