#include "Platform/macOS/SystemError.h"

#include <Foundation/Foundation.h>

namespace tapwell {
namespace {

std::string text(NSString* string) {
    const char* const utf8 = string.UTF8String;
    return utf8 == nullptr ? std::string() : std::string(utf8);
}

}  // namespace

std::string describe(NSError* error) {
    if (error == nil) return "the system gives no reason";
    return text(error.localizedDescription);
}

RecorderError recorderError(NSError* error) {
    if (error == nil) return RecorderError("NSError", 0, describe(error));
    return RecorderError(text(error.domain), static_cast<int>(error.code), describe(error));
}

}  // namespace tapwell
