#include "Platform/macOS/CFDescription.h"

#include "Platform/macOS/CFText.h"

#include <cstdint>

namespace tapwell {
namespace {

using List = std::vector<PropertyDictionary>;

CFReference<CFTypeRef> makeValue(bool flag) {
    const std::int32_t number = flag ? 1 : 0;
    return CFReference<CFTypeRef>(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &number));
}

CFReference<CFTypeRef> makeValue(const std::string& text) {
    const CFReference<CFStringRef> string = makeCFString(text);
    return CFReference<CFTypeRef>(string ? CFRetain(string.get()) : nullptr);
}

CFReference<CFTypeRef> makeValue(const List& list) {
    const auto count = static_cast<CFIndex>(list.size());
    CFMutableArrayRef array =
        CFArrayCreateMutable(kCFAllocatorDefault, count, &kCFTypeArrayCallBacks);
    for (const PropertyDictionary& entry : list)
        CFArrayAppendValue(array, makeCFDictionary(entry).get());
    return CFReference<CFTypeRef>(array);
}

}  // namespace

CFReference<CFDictionaryRef> makeCFDictionary(const PropertyDictionary& description) {
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (const auto& [name, value] : description.entries) {
        const CFReference<CFStringRef> key = makeCFString(name);
        const CFReference<CFTypeRef> object =
            std::visit([](const auto& plain) { return makeValue(plain); }, value);
        if (key && object) CFDictionarySetValue(dictionary, key.get(), object.get());
    }
    return CFReference<CFDictionaryRef>(dictionary);
}

}  // namespace tapwell
