#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/LinuxEnvironment.h"
#include "Platform/Linux/LinuxQueueFactory.h"
#include "Platform/Linux/LinuxSpeechEngines.h"
#include "Platform/Linux/SoxrSampleRateConverterFactory.h"
#include "Platform/Simulated/SimulatedUserDefaults.h"
#include "Tapwell/Transcription/SFSpeechProvider.h"
#include "Tapwell/Transcription/SpeechAnalyzerProvider.h"
#include "Tapwell/Transcription/SpeechFeed.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Feeds a file of speech to a provider in real time, as a recording does, and writes each event
// with the seconds since the first sample. `speech-feed recognizer|analyzer FILE`, where FILE holds
// mono samples of 16 bits at 48 kHz. Benchmarks/speech makes the file and reads the lines.

namespace {

using namespace tapwell;
using Steady = std::chrono::steady_clock;

constexpr double kSampleRate = 48000;
constexpr std::size_t kFrame = 1024;

double secondsSince(Steady::time_point begin) {
    return std::chrono::duration<double>(Steady::now() - begin).count();
}

/// Writes lines with the time in front.
class TimedStreams final : public StandardStreams {
public:
    Input readLine() override { return {}; }
    void writeOutput(std::string_view bytes) override { write("event", bytes); }
    void writeError(std::string_view line) override {
        if (line.find("ready in") != std::string_view::npos) ready_ = true;
        if (line.find("failed") != std::string_view::npos) failed_ = true;
        std::fwrite(line.data(), 1, line.size(), stderr);
    }
    void begin() { begin_ = Steady::now(); }
    bool isReady() const { return ready_; }
    bool hasFailed() const { return failed_; }

private:
    void write(const char* kind, std::string_view text) {
        const std::lock_guard hold(lock_);
        std::printf("%s %.3f %.*s", kind, secondsSince(begin_), static_cast<int>(text.size()),
                    text.data());
        std::fflush(stdout);
    }
    std::mutex lock_;
    Steady::time_point begin_ = Steady::now();
    std::atomic<bool> ready_{false};
    std::atomic<bool> failed_{false};
};

std::vector<float> readSamples(const char* path) {
    std::ifstream stream(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    std::vector<float> samples(bytes.size() / 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        std::int16_t sample = 0;
        std::memcpy(&sample, bytes.data() + 2 * i, 2);
        samples[i] = static_cast<float>(sample) / 32768.0F;
    }
    return samples;
}

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double residentMebibytes() {
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576;
}

int run(const std::string& kind, const char* path) {
    const std::vector<float> samples = readSamples(path);
    TimedStreams streams;
    LinuxEnvironment environment;
    LinuxClock clock;
    LinuxQueueFactory queues;
    SoxrSampleRateConverterFactory converters;
    SimulatedUserDefaults defaults;
    LinuxSpeechEngines engines(SpeechModels::installed(environment), true,
                               [&](const std::string& line) { streams.writeError(line + "\n"); });
    const SpeechProviderServices services{engines, converters, queues, clock, defaults, streams};
    const double baseMebibytes = residentMebibytes();
    std::shared_ptr<SpeechRecognitionProvider> provider;
    if (kind == "recognizer")
        provider = SFSpeechProvider::create(services, "en_US", kSampleRate, nullptr);
    else
        provider = SpeechAnalyzerProvider::create(services, "en_US", kSampleRate, nullptr);
    const auto deadline = Steady::now() + std::chrono::seconds(kind == "recognizer" ? 3 : 60);
    while (!streams.isReady() && !streams.hasFailed() && Steady::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const auto feed = SpeechFeed::create(queues, converters, Log(streams, "benchmark"), provider,
                                         kSampleRate, kSampleRate);
    const double processorBefore = processorSeconds();
    const auto begin = Steady::now();
    streams.begin();
    for (std::size_t i = 0; i < samples.size(); i += kFrame) {
        const std::size_t count = std::min(kFrame, samples.size() - i);
        // A frame is there when its last sample has been heard.
        std::this_thread::sleep_until(
            begin + std::chrono::duration_cast<Steady::duration>(std::chrono::duration<double>(
                        static_cast<double>(i + count) / kSampleRate)));
        feed->feed(std::span(samples).subspan(i, count), MediaTime::zero());
        if ((i / kFrame) % 2813 == 0)  // once a minute
            std::printf("memory %.3f %.1f\n", secondsSince(begin), residentMebibytes());
    }
    std::this_thread::sleep_for(std::chrono::seconds(8));  // for second passes
    const double processor = processorSeconds() - processorBefore;
    const auto stopping = Steady::now();
    provider->stop();
    std::printf("stop %.3f %.3f\n", secondsSince(begin), secondsSince(stopping));
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("processor %.3f %.4f\n", secondsSince(begin),
                processor * kSampleRate / static_cast<double>(samples.size()));
    std::printf("peak %.3f %.1f\n", secondsSince(begin),
                static_cast<double>(usage.ru_maxrss) / 1024 - baseMebibytes);
    std::fflush(stdout);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "speech-feed recognizer|analyzer FILE\n");
        return 2;
    }
    return run(argv[1], argv[2]);
}
