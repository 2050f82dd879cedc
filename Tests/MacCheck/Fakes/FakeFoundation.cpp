#include "Fakes/FakeFoundation.h"

#include "Fakes/FakeSystem.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <variant>
#include <vector>

// Objects count their references; the fakes' state counts those of all objects together.
namespace {

struct Object;
using List = std::vector<Object*>;
using Dictionary = std::map<std::string, std::pair<Object*, Object*>>;

struct Object {
    int references = 1;
    std::variant<std::string, std::int32_t, List, Dictionary> content;
};

Object* make(decltype(Object::content) content) {
    ++maccheck::FakeSystem::get().liveObjects;
    return new Object{1, std::move(content)};
}

Object* asObject(const void* reference) {
    return static_cast<Object*>(const_cast<void*>(reference));
}

template <typename Reference>
Reference as(Object* object) {
    return reinterpret_cast<Reference>(object);
}

const std::string& text(CFStringRef string) {
    return std::get<std::string>(asObject(string)->content);
}

void releaseContent(const Object& object) {
    if (const auto* list = std::get_if<List>(&object.content))
        for (Object* entry : *list)
            CFRelease(entry);
    if (const auto* dictionary = std::get_if<Dictionary>(&object.content))
        for (const auto& [name, entry] : *dictionary) {
            CFRelease(entry.first);
            CFRelease(entry.second);
        }
}

}  // namespace

struct CFDictionaryKeyCallBacks {
    int unused;
};
struct CFDictionaryValueCallBacks {
    int unused;
};
struct CFArrayCallBacks {
    int unused;
};

namespace maccheck {

CFStringRef makeString(const std::string& text) {
    return as<CFStringRef>(make(text));
}

std::string textOfObject(CFTypeRef reference) {
    const Object& object = *asObject(reference);
    if (const auto* string = std::get_if<std::string>(&object.content)) return '"' + *string + '"';
    if (const auto* number = std::get_if<std::int32_t>(&object.content))
        return std::to_string(*number);
    std::string all;
    if (const auto* list = std::get_if<List>(&object.content)) {
        for (const Object* entry : *list)
            all += (all.empty() ? "" : ", ") + textOfObject(entry);
        return '[' + all + ']';
    }
    for (const auto& [name, entry] : std::get<Dictionary>(object.content))
        all += (all.empty() ? "\"" : ", \"") + name + "\": " + textOfObject(entry.second);
    return '{' + all + '}';
}

}  // namespace maccheck

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{};
const CFArrayCallBacks kCFTypeArrayCallBacks{};

CFTypeRef CFRetain(CFTypeRef object) {
    ++asObject(object)->references;
    ++maccheck::FakeSystem::get().liveObjects;
    return object;
}

void CFRelease(CFTypeRef reference) {
    Object* const object = asObject(reference);
    --maccheck::FakeSystem::get().liveObjects;
    if (--object->references > 0) return;
    releaseContent(*object);
    delete object;
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    return asObject(object)->content.index();
}

CFStringRef CFCopyDescription(CFTypeRef object) {
    return maccheck::makeString("fake " + maccheck::textOfObject(object));
}

CFTypeID CFStringGetTypeID(void) {
    return 0;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean) {
    const std::string content(reinterpret_cast<const char*>(bytes),
                              static_cast<std::size_t>(count));
    // No UTF-8 has this byte.
    if (encoding != kCFStringEncodingUTF8 || content.find('\xFF') != std::string::npos)
        return nullptr;
    return maccheck::makeString(content);
}

// In UTF-16 units on the system; bytes are an upper bound of them.
CFIndex CFStringGetLength(CFStringRef string) {
    return static_cast<CFIndex>(text(string).size());
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding) {
    return 3 * length;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding) {
    const std::string& content = text(string);
    if (content.size() + 1 > static_cast<std::size_t>(size)) return false;
    std::memcpy(buffer, content.c_str(), content.size() + 1);
    return true;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
    if (type != kCFNumberSInt32Type) return nullptr;
    std::int32_t number = 0;
    std::memcpy(&number, value, sizeof number);
    return as<CFNumberRef>(make(number));
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks*) {
    return as<CFMutableArrayRef>(make(List{}));
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) {
    std::get<List>(asObject(array)->content).push_back(asObject(CFRetain(value)));
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex,
                                                 const CFDictionaryKeyCallBacks*,
                                                 const CFDictionaryValueCallBacks*) {
    return as<CFMutableDictionaryRef>(make(Dictionary{}));
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    std::get<Dictionary>(asObject(dictionary)->content)
        .emplace(text(static_cast<CFStringRef>(key)),
                 std::pair(asObject(CFRetain(key)), asObject(CFRetain(value))));
}

/// A locale is its identifier.
CFLocaleRef CFLocaleCopyCurrent(void) {
    return as<CFLocaleRef>(asObject(maccheck::makeString(maccheck::FakeSystem::get().locale)));
}

CFStringRef CFLocaleGetIdentifier(CFLocaleRef locale) {
    return as<CFStringRef>(asObject(locale));
}

}  // extern "C"
