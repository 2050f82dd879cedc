#include "Support/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

struct Pipe {
    int readEnd = -1;
    int writeEnd = -1;
};

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) fail(errno, "pipe2");
    return {ends[0], ends[1]};
}

std::vector<std::string> changedEnvironment(
    const std::map<std::string, std::optional<std::string>>& changes) {
    std::vector<std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string variable = *entry;
        if (!changes.contains(variable.substr(0, variable.find('=')))) {
            variables.push_back(variable);
        }
    }
    for (const auto& [name, value] : changes) {
        if (value) variables.push_back(name + "=" + *value);
    }
    return variables;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (std::string& string : strings)
        result.push_back(string.data());
    result.push_back(nullptr);
    return result;
}

/// Value in kibibytes, or count, of a line "Name:   value" of /proc/<pid>/status.
std::size_t statusValue(pid_t pid, const std::string& name) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with(name + ":")) return std::stoul(line.substr(name.size() + 1));
    }
    throw std::runtime_error("process " + std::to_string(pid) + " has no " + name);
}

pid_t spawn(std::vector<std::string> arguments, std::vector<std::string> environment,
            const Pipe& input, const Pipe& output, const Pipe& errors) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.readEnd, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.writeEnd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors.writeEnd, STDERR_FILENO);

    // The child starts with every signal at its default and none blocked, whatever runs the tests.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t all;
    sigfillset(&all);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

    pid_t pid = -1;
    const int error = posix_spawnp(&pid, arguments[0].c_str(), &actions, &attributes,
                                   pointers(arguments).data(), pointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) fail(error, arguments[0]);
    return pid;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::map<std::string, std::optional<std::string>>& environment) {
    // A process that has ended makes a write fail, not the test program die.
    std::signal(SIGPIPE, SIG_IGN);
    const Pipe input = makePipe();
    const Pipe output = makePipe();
    const Pipe errors = makePipe();
    pid_ = spawn(arguments, changedEnvironment(environment), input, output, errors);
    ::close(input.readEnd);
    ::close(output.writeEnd);
    ::close(errors.writeEnd);
    inputDescriptor_ = input.writeEnd;
    output_ = std::make_unique<ProcessOutput>(output.readEnd);
    errors_ = std::make_unique<ProcessOutput>(errors.readEnd);
}

ChildProcess::~ChildProcess() {
    closeInput();
    if (!ending_) {
        signal(SIGKILL);
        int status = 0;
        waitpid(pid_, &status, 0);
    }
}

ChildProcess::Output ChildProcess::run(
    const std::vector<std::string>& arguments,
    const std::map<std::string, std::optional<std::string>>& environment) {
    ChildProcess process(arguments, environment);
    process.closeInput();
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    process.output_->waitForEnd(deadline);
    process.errors_->waitForEnd(deadline);
    const std::optional<Ending> ending = process.wait(deadline);
    if (!ending) throw std::runtime_error(arguments[0] + " did not end");
    return {*ending, process.output_->text(), process.errors_->text()};
}

bool ChildProcess::write(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = ::write(inputDescriptor_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void ChildProcess::closeInput() {
    if (inputDescriptor_ < 0) return;
    ::close(inputDescriptor_);
    inputDescriptor_ = -1;
}

void ChildProcess::signal(int number) const {
    if (!ending_) ::kill(pid_, number);
}

std::optional<ChildProcess::Ending> ChildProcess::wait(TimePoint deadline) {
    while (!ending_) {
        int status = 0;
        const pid_t ended = waitpid(pid_, &status, WNOHANG);
        if (ended == pid_) {
            ending_.emplace();
            if (WIFEXITED(status)) ending_->exitStatus = WEXITSTATUS(status);
            if (WIFSIGNALED(status)) ending_->signal = WTERMSIG(status);
        } else if (std::chrono::steady_clock::now() >= deadline) {
            return std::nullopt;
        } else {
            std::this_thread::sleep_for(2ms);
        }
    }
    return ending_;
}

std::size_t ChildProcess::openDescriptorCount() const {
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(pid_) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t ChildProcess::threadCount() const {
    return statusValue(pid_, "Threads");
}

std::size_t ChildProcess::residentBytes() const {
    return statusValue(pid_, "VmRSS") * 1024;
}

void ChildProcess::limitFileSize(std::size_t bytes) const {
    const rlimit limit{bytes, bytes};
    if (prlimit(pid_, RLIMIT_FSIZE, &limit, nullptr) != 0) fail(errno, "prlimit");
}

}  // namespace tapwell::test
