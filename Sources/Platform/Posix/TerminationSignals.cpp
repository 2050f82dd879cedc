#include "Platform/Posix/TerminationSignals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tapwell {
namespace {

// Made once and never closed: a handler that another thread still runs while the handling is put
// back must not write to a descriptor that has become somebody else's.
int readEnd = -1;
int writeEnd = -1;

extern "C" void noteTermination(int) {
    const int savedError = errno;
    const char note = 1;
    // A pipe that is full of notes is readable already.
    [[maybe_unused]] const ssize_t written = write(writeEnd, &note, sizeof note);
    errno = savedError;
}

void throwError() {
    throw std::system_error(errno, std::generic_category(), "pipe for terminating signals");
}

void openPipe() {
    int ends[2];
    if (pipe(ends) != 0) throwError();
    for (const int end : ends)
        if (fcntl(end, F_SETFD, FD_CLOEXEC) != 0 || fcntl(end, F_SETFL, O_NONBLOCK) != 0)
            throwError();
    readEnd = ends[0];
    writeEnd = ends[1];
}

void openOrEmptyPipe() {
    if (readEnd < 0) openPipe();
    char notes[64];
    while (read(readEnd, notes, sizeof notes) > 0)
        continue;
}

}  // namespace

TerminationSignals::TerminationSignals() {
    openOrEmptyPipe();
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
    return readEnd;
}

}  // namespace tapwell
