#pragma once

#include "Platform/AudioObject.h"

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tapwell {

/// A sink or source of the audio server, bound so that its properties and formats are known and
/// kept up to date. Used with the loop's lock held, and on the loop's thread.
class PipeWireNode {
public:
    struct Identity {
        std::uint32_t globalId = 0;
        std::uint64_t serial = 0;  ///< never reused while the server runs
        AudioObjectID objectId = 0;
        std::string name;
        std::string mediaClass;
    };

    /// `changed` is called on the loop's thread after every update.
    PipeWireNode(pw_registry* registry, Identity identity, std::function<void()> changed);
    ~PipeWireNode();
    PipeWireNode(const PipeWireNode&) = delete;
    PipeWireNode& operator=(const PipeWireNode&) = delete;

    const Identity& identity() const { return identity_; }
    bool isSink() const { return identity_.mediaClass.starts_with("Audio/Sink"); }
    bool isSource() const { return identity_.mediaClass.starts_with("Audio/Source"); }

    /// A node that is no device but passes on what is played into it, such as a virtual microphone.
    bool isNullSink() const { return isNullSink_; }

    /// The node's own channels, in its order: SPA_AUDIO_CHANNEL_*.
    const std::vector<std::uint32_t>& channelPositions() const;
    /// The rate that the node is set to, in Hz; `graphRate` when it takes any.
    double ownRate(double graphRate) const;
    std::uint32_t transportType() const { return transportType_; }

private:
    /// The first PCM format of the node's list of formats, or the one it runs with.
    struct Format {
        bool isKnown = false;
        std::uint32_t rate = 0;  ///< preferred or only rate, 0 when none is told
        std::uint32_t lowestRate = 0;
        std::uint32_t highestRate = 0;
        std::vector<std::uint32_t> positions;
    };

    static void onInfo(void* self, const pw_node_info* info);
    static void onParam(void* self, int sequence, std::uint32_t id, std::uint32_t index,
                        std::uint32_t next, const spa_pod* param);
    static Format parseFormat(const spa_pod* param);
    void readProperties(const spa_dict& properties);

    Identity identity_;
    std::function<void()> changed_;
    pw_proxy* proxy_;
    spa_hook hook_{};
    Format offered_;
    std::uint32_t offeredIndex_ = 0;
    Format current_;
    std::uint32_t declaredRate_ = 0;  ///< audio.rate, 0 when not told
    bool isNullSink_ = false;
    std::uint32_t transportType_ = kAudioDeviceTransportTypeUnknown;
};

}  // namespace tapwell
