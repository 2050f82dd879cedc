#include "Platform/Linux/TerminationSignals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace tapwell {
namespace {

// Made once and never closed: a handler that another thread still runs while the handling is put
// back must not write to a descriptor that has become somebody else's.
int eventDescriptor = -1;

extern "C" void noteTermination(int) {
    const int savedError = errno;
    const std::uint64_t one = 1;
    // The counter of an event descriptor has room for any number of signals.
    [[maybe_unused]] const ssize_t written = write(eventDescriptor, &one, sizeof one);
    errno = savedError;
}

void openOrResetEvent() {
    if (eventDescriptor < 0) eventDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (eventDescriptor < 0)
        throw std::system_error(errno, std::generic_category(), "termination event");
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t drained = read(eventDescriptor, &count, sizeof count);
}

}  // namespace

TerminationSignals::TerminationSignals() {
    openOrResetEvent();
    struct sigaction action {};
    sigemptyset(&action.sa_mask);
    // Other threads' system calls go on as if nothing had happened; poll never restarts.
    action.sa_flags = SA_RESTART;
    action.sa_handler = noteTermination;
    for (std::size_t i = 0; i < kTerminating.size(); ++i)
        sigaction(kTerminating[i], &action, &formerTerminating_[i]);
    action.sa_handler = SIG_IGN;
    for (std::size_t i = 0; i < kIgnored.size(); ++i)
        sigaction(kIgnored[i], &action, &formerIgnored_[i]);
}

TerminationSignals::~TerminationSignals() {
    for (std::size_t i = 0; i < kTerminating.size(); ++i)
        sigaction(kTerminating[i], &formerTerminating_[i], nullptr);
    for (std::size_t i = 0; i < kIgnored.size(); ++i)
        sigaction(kIgnored[i], &formerIgnored_[i], nullptr);
}

int TerminationSignals::descriptor() const {
    return eventDescriptor;
}

}  // namespace tapwell
