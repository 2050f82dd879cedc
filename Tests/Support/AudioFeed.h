#pragma once

#include "Support/ChildProcess.h"

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tapwell::test {

/// Plays a WAV file into the private audio server, on a process of its own that ends with the file
/// or with this object.
class AudioFeed {
public:
    /// A port of the player ("output_FL", "output_FR", "output_MONO") and one of the server, such
    /// as "out-a:playback_FL" or "mic-a:input_MONO".
    using Link = std::pair<std::string, std::string>;

    /// Plays the file into a sink.
    static AudioFeed intoSink(const std::string& sink, const std::filesystem::path& file);
    /// Feeds a microphone with a mono file.
    static AudioFeed intoMicrophone(const std::string& microphone,
                                    const std::filesystem::path& file);
    /// Plays through the given links: one player may serve sinks and microphones, whose frames
    /// then leave it in the same cycle. Nothing is lost before the first link; later links follow
    /// within some milliseconds.
    static AudioFeed through(const std::vector<Link>& links, const std::filesystem::path& file);

    /// Until the file is played; throws std::runtime_error when that takes more than a minute.
    void waitForEnd();

private:
    explicit AudioFeed(const std::vector<std::string>& player)
        : player_(std::make_unique<ChildProcess>(player)) {}

    std::unique_ptr<ChildProcess> player_;
};

}  // namespace tapwell::test
