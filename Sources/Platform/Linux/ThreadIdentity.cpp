#include "Platform/Linux/ThreadIdentity.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cctype>

namespace tapwell {
namespace {

constexpr std::size_t kMaxThreadNameBytes = 15;

bool isAsciiUpper(char c) {
    return c >= 'A' && c <= 'Z';
}
bool isAsciiLower(char c) {
    return c >= 'a' && c <= 'z';
}

/// First character at or behind `from` that begins a capitalised word or follows a dot; `from`
/// when there is none.
std::size_t wordStart(const std::string& text, std::size_t from) {
    for (std::size_t i = from; i + 1 < text.size(); ++i) {
        if (text[i] == '.') return i + 1;
        if (isAsciiUpper(text[i]) && isAsciiLower(text[i + 1])) return i;
    }
    return from;
}

}  // namespace

std::string threadNameForLabel(const std::string& label) {
    if (label.size() <= kMaxThreadNameBytes) return label;
    const std::size_t cut = label.size() - kMaxThreadNameBytes;
    if (label[cut - 1] == '.') return label.substr(cut);
    return label.substr(wordStart(label, cut));
}

void nameCurrentThread(const std::string& label) {
    pthread_setname_np(pthread_self(), threadNameForLabel(label).c_str());
}

void setCurrentThreadPriority(QualityOfService qualityOfService) {
    int niceness = 0;
    if (qualityOfService == QualityOfService::userInteractive) niceness = -10;
    if (qualityOfService == QualityOfService::userInitiated) niceness = -5;
    if (qualityOfService == QualityOfService::utility) return lowerCurrentThread(5);
    if (niceness == 0) return;
    // On Linux the niceness belongs to the thread. A user without the right keeps the old one.
    const auto thread = static_cast<id_t>(syscall(SYS_gettid));
    if (niceness < getpriority(PRIO_PROCESS, thread)) setpriority(PRIO_PROCESS, thread, niceness);
}

void lowerCurrentThread(int niceness) {
    const auto thread = static_cast<id_t>(syscall(SYS_gettid));
    if (niceness > getpriority(PRIO_PROCESS, thread)) setpriority(PRIO_PROCESS, thread, niceness);
}

}  // namespace tapwell
