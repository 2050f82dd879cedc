#include "ForkedChild.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace tapwell::test {

ForkedChild::ForkedChild(const std::function<int()>& body) : pid_(::fork()) {
    if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (pid_ > 0) return;
    int code = EXIT_FAILURE;
    try {
        code = body();
    } catch (...) {
        // The exit code says it.
    }
    ::_exit(code);
}

ForkedChild::~ForkedChild() {
    if (pid_ > 0) kill();
}

void ForkedChild::kill() {
    ::kill(pid_, SIGKILL);
    wait();
}

int ForkedChild::wait() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace tapwell::test
