#pragma once

#include "Platform/AudioObject.h"
#include "Platform/Linux/AudioObjectIds.h"
#include "Platform/Linux/PipeWireMetadata.h"
#include "Platform/Linux/PipeWireNode.h"

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace tapwell {

/// The sinks, sources and defaults of one connection to the audio server. Used with the loop's
/// lock held, and on the loop's thread.
class PipeWireRegistry {
public:
    /// `changed` is called on the loop's thread after every change of anything below.
    PipeWireRegistry(pw_core* core, AudioObjectIds& ids, std::function<void()> changed);
    ~PipeWireRegistry();
    PipeWireRegistry(const PipeWireRegistry&) = delete;
    PipeWireRegistry& operator=(const PipeWireRegistry&) = delete;

    /// Nodes are absent (null) also while the server has not told everything about them.
    const PipeWireNode* nodeWithObject(AudioObjectID object) const;
    const PipeWireNode* nodeNamed(const std::string& name) const;
    bool hasNode(std::uint64_t serial) const;
    /// The default sink.
    const PipeWireNode* defaultSink() const;
    /// The default source. The server names a sink there when it has no source; that is none.
    const PipeWireNode* defaultSource() const;

    /// Whether a default is unknown though there are devices for it. The server loses what a
    /// session manager that has just started says while we take up its object.
    bool missesDefaults() const;
    /// Asks for the defaults again, for the few times that this can help; false after those.
    bool renewDefaults();

    /// The rate of the graph as configured, in Hz.
    double graphRate() const;

private:
    struct Entry {
        std::unique_ptr<PipeWireNode> node;
        int pendingSync = 0;  ///< 0 when all is known
    };

    static void onGlobal(void* self, std::uint32_t id, std::uint32_t permissions, const char* type,
                         std::uint32_t version, const spa_dict* properties);
    static void onGlobalRemove(void* self, std::uint32_t id);
    static void onDone(void* self, std::uint32_t id, int sequence);
    void addNode(std::uint32_t id, const spa_dict& properties);
    void addMetadata(std::uint32_t id, const spa_dict& properties);
    const PipeWireNode* defaultNode(const char* key) const;

    pw_core* core_;
    AudioObjectIds& ids_;
    std::function<void()> changed_;
    spa_hook coreHook_{};
    pw_registry* registry_;
    spa_hook registryHook_{};
    std::map<std::uint32_t, Entry> nodes_;        ///< by global id
    std::unique_ptr<PipeWireMetadata> defaults_;  ///< absent without a session manager
    std::unique_ptr<PipeWireMetadata> settings_;
};

}  // namespace tapwell
