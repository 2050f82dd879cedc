#include "Platform/macOS/TccPreflight.h"

#include "Platform/macOS/CFText.h"

#include <dlfcn.h>

namespace tapwell {
namespace {

using Preflight = int (*)(CFStringRef service, CFDictionaryRef options);

Preflight loadPreflight() {
    void* const library =
        dlopen("/System/Library/PrivateFrameworks/TCC.framework/Versions/A/TCC", RTLD_LAZY);
    if (library == nullptr) return nullptr;
    return reinterpret_cast<Preflight>(dlsym(library, "TCCAccessPreflight"));
}

}  // namespace

std::optional<int> tccAudioCapturePreflight() {
    static const Preflight preflight = loadPreflight();
    if (preflight == nullptr) return std::nullopt;
    const CFReference<CFStringRef> service = makeCFString("kTCCServiceAudioCapture");
    return preflight(service.get(), nullptr);
}

}  // namespace tapwell
