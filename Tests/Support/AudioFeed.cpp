#include "Support/AudioFeed.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

void link(const std::string& from, const std::string& to) {
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    // Until the player has its ports.
    while (ChildProcess::run({"pw-link", from, to}).ending.exitStatus != 0) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("cannot link " + from + " to " + to);
        std::this_thread::sleep_for(5ms);
    }
}

}  // namespace

AudioFeed AudioFeed::intoSink(const std::string& sink, const std::filesystem::path& file) {
    return AudioFeed({"pw-play", "--target", sink, file.string()});
}

AudioFeed AudioFeed::intoMicrophone(const std::string& microphone,
                                    const std::filesystem::path& file) {
    return through({{"output_MONO", microphone + ":input_MONO"}}, file);
}

AudioFeed AudioFeed::through(const std::vector<Link>& links, const std::filesystem::path& file) {
    static std::atomic<int> count{0};
    const std::string name = "feed-" + std::to_string(getpid()) + "-" + std::to_string(++count);
    AudioFeed feed({"pw-play", "--target", "0", "-P", "{ node.name=" + name + " }", file.string()});
    for (const auto& [port, destination] : links)
        link(name + ":" + port, destination);
    return feed;
}

void AudioFeed::waitForEnd() {
    if (!player_->wait(std::chrono::steady_clock::now() + 60s))
        throw std::runtime_error("the player did not end");
}

}  // namespace tapwell::test
