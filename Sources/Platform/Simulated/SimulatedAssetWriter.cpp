#include "Platform/Simulated/SimulatedAssetWriter.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace tapwell {
namespace {

using Script = SimulatedWriterScript;

/// What a writer and its input share.
struct WriterState {
    AssetWriter::Status status = AssetWriter::Status::unknown;
    std::optional<RecorderError> error;

    void fail(const std::string& description) {
        status = AssetWriter::Status::failed;
        error = RecorderError("Simulated", 1, description);
    }
};

class Input final : public AssetWriterInput {
public:
    Input(Script& script, VirtualTime& time, std::shared_ptr<WriterState> state,
          const AudioOutputSettings& settings)
        : script_(script), time_(time), state_(std::move(state)), settings_(settings) {}

    void setExpectsMediaDataInRealTime(bool expects) override { realTime_ = expects; }
    bool expectsMediaDataInRealTime() const override { return realTime_; }
    bool isReadyForMoreMediaData() const override {
        return script_.ready && time_.now() >= busyUntil_;
    }
    void markAsFinished() override { script_.appendedWhenMarkedFinished = script_.appendCalls; }

    bool append(const SampleBuffer& buffer) override {
        const std::int64_t call = ++script_.appendCalls;
        if (call >= script_.failsFromAppend) state_->fail("simulated disk full");
        const auto& failing = script_.failingAppends;
        if (state_->status != AssetWriter::Status::writing ||
            std::find(failing.begin(), failing.end(), call) != failing.end())
            return false;
        script_.frames += buffer.sampleCount();
        if (script_.keepsSamples) keep(buffer);
        if (++inBurst_ >= script_.buffersPerBurst) {
            inBurst_ = 0;
            busyUntil_ = time_.now() + script_.busyTime;
        }
        return true;
    }

    const AudioOutputSettings& settings() const { return settings_; }

private:
    void keep(const SampleBuffer& buffer) {
        script_.appended.push_back(buffer);
        const auto bytes = buffer.bytes();
        const std::size_t before = script_.samples.size();
        script_.samples.resize(before + bytes.size() / sizeof(float));
        std::memcpy(script_.samples.data() + before, bytes.data(), bytes.size());
    }

    Script& script_;
    VirtualTime& time_;
    const std::shared_ptr<WriterState> state_;
    const AudioOutputSettings settings_;
    bool realTime_ = false;
    std::int64_t inBurst_ = 0;
    VirtualTime::Duration busyUntil_{0};
};

class Writer final : public AssetWriter {
public:
    Writer(Script& script, VirtualTime& time, std::string path)
        : script_(script), time_(time), path_(std::move(path)) {}

    ~Writer() override {
        if (state_->status != Status::unknown) return;
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }

    std::shared_ptr<AssetWriterInput> makeInput(
        const AudioOutputSettings& settings,
        std::shared_ptr<const AudioFormatDescription>) override {
        script_.settings.push_back(settings);
        return std::make_shared<Input>(script_, time_, state_, settings);
    }
    bool canAdd(const AssetWriterInput&) const override { return !script_.refusesInput; }
    void add(std::shared_ptr<AssetWriterInput> input) override { input_ = std::move(input); }

    bool startWriting() override {
        script_.expectsRealTime.push_back(input_->expectsMediaDataInRealTime());
        state_->error.reset();
        if (script_.startWritingFailsWithoutError) return false;
        if (script_.startWritingFails) {
            state_->error = RecorderError("Simulated", 2, "simulated start failure");
            return false;
        }
        state_->status = Status::writing;
        return true;
    }
    void startSession(MediaTime sourceTime) override {
        script_.sessionStarts.push_back(sourceTime);
    }
    void finishWriting(std::function<void()> completion) override {
        ++script_.finishCalls;
        time_.schedule(script_.finishTime, [this, completion = std::move(completion)] {
            if (script_.finishFails) state_->fail("simulated finish failure");
            if (state_->status == Status::writing) state_->status = Status::completed;
            completion();
        });
    }
    Status status() const override { return state_->status; }
    std::optional<RecorderError> error() const override { return state_->error; }

private:
    Script& script_;
    VirtualTime& time_;
    const std::string path_;
    const std::shared_ptr<WriterState> state_ = std::make_shared<WriterState>();
    std::shared_ptr<AssetWriterInput> input_;
};

}  // namespace

std::unique_ptr<AssetWriter> SimulatedAssetWriterFactory::makeWriter(const std::string& path) {
    if (script.makeWriterFails)
        throw RecorderError("Simulated", 17,
                            "Cannot create recording file \"" + path + "\": simulated refusal");
    std::error_code ignored;
    if (std::filesystem::exists(path, ignored))
        throw RecorderError("Simulated", 17,
                            "Cannot create recording file \"" + path + "\": File exists");
    if (!std::ofstream(path))
        throw RecorderError("Simulated", 2,
                            "Cannot create recording file \"" + path + "\": No such directory");
    script.paths.push_back(path);
    return std::make_unique<Writer>(script, time_, path);
}

}  // namespace tapwell
