#include "Platform/Linux/PipeWireRegistry.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace tapwell {
namespace {

constexpr const char* kDefaultSinkKey = "default.audio.sink";
constexpr const char* kDefaultSourceKey = "default.audio.source";

std::string lookUp(const spa_dict& properties, const char* key) {
    const char* value = spa_dict_lookup(&properties, key);
    return value != nullptr ? value : "";
}

}  // namespace

PipeWireRegistry::PipeWireRegistry(pw_core* core, AudioObjectIds& ids,
                                   std::function<void()> changed)
    : core_(core),
      ids_(ids),
      changed_(std::move(changed)),
      registry_(pw_core_get_registry(core, PW_VERSION_REGISTRY, 0)) {
    static const pw_core_events coreEvents = [] {
        pw_core_events made{};
        made.version = PW_VERSION_CORE_EVENTS;
        made.done = &onDone;
        return made;
    }();
    pw_core_add_listener(core_, &coreHook_, &coreEvents, this);
    if (registry_ == nullptr) return;
    static const pw_registry_events registryEvents = [] {
        pw_registry_events made{};
        made.version = PW_VERSION_REGISTRY_EVENTS;
        made.global = &onGlobal;
        made.global_remove = &onGlobalRemove;
        return made;
    }();
    pw_registry_add_listener(registry_, &registryHook_, &registryEvents, this);
}

PipeWireRegistry::~PipeWireRegistry() {
    nodes_.clear();
    defaults_.reset();
    settings_.reset();
    spa_hook_remove(&coreHook_);
    if (registry_ == nullptr) return;
    spa_hook_remove(&registryHook_);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
}

void PipeWireRegistry::onGlobal(void* self, std::uint32_t id, std::uint32_t, const char* type,
                                std::uint32_t, const spa_dict* properties) {
    auto* registry = static_cast<PipeWireRegistry*>(self);
    if (properties == nullptr) return;
    if (std::string_view(type) == PW_TYPE_INTERFACE_Node)
        registry->addNode(id, *properties);
    else if (std::string_view(type) == PW_TYPE_INTERFACE_Metadata)
        registry->addMetadata(id, *properties);
}

void PipeWireRegistry::addNode(std::uint32_t id, const spa_dict& properties) {
    PipeWireNode::Identity identity;
    identity.globalId = id;
    identity.serial = std::strtoull(lookUp(properties, PW_KEY_OBJECT_SERIAL).c_str(), nullptr, 10);
    identity.name = lookUp(properties, PW_KEY_NODE_NAME);
    identity.mediaClass = lookUp(properties, PW_KEY_MEDIA_CLASS);
    if (!identity.mediaClass.starts_with("Audio/Sink") &&
        !identity.mediaClass.starts_with("Audio/Source"))
        return;
    identity.objectId = ids_.next();

    Entry entry;
    entry.node = std::make_unique<PipeWireNode>(registry_, std::move(identity), changed_);
    entry.pendingSync = pw_core_sync(core_, PW_ID_CORE, 0);
    nodes_.insert_or_assign(id, std::move(entry));
}

void PipeWireRegistry::addMetadata(std::uint32_t id, const spa_dict& properties) {
    const std::string name = lookUp(properties, PW_KEY_METADATA_NAME);
    if (name == "default")
        defaults_ = std::make_unique<PipeWireMetadata>(registry_, id, changed_);
    else if (name == "settings")
        settings_ = std::make_unique<PipeWireMetadata>(registry_, id, changed_);
}

void PipeWireRegistry::onGlobalRemove(void* self, std::uint32_t id) {
    auto* registry = static_cast<PipeWireRegistry*>(self);
    registry->nodes_.erase(id);
    if (registry->defaults_ && registry->defaults_->globalId() == id) registry->defaults_.reset();
    if (registry->settings_ && registry->settings_->globalId() == id) registry->settings_.reset();
    registry->changed_();
}

void PipeWireRegistry::onDone(void* self, std::uint32_t id, int sequence) {
    auto* registry = static_cast<PipeWireRegistry*>(self);
    if (id != PW_ID_CORE) return;
    for (auto& [globalId, entry] : registry->nodes_) {
        if (entry.pendingSync != sequence) continue;
        entry.pendingSync = 0;
        registry->changed_();
        return;
    }
}

const PipeWireNode* PipeWireRegistry::nodeWithObject(AudioObjectID object) const {
    for (const auto& [globalId, entry] : nodes_) {
        if (entry.pendingSync == 0 && entry.node->identity().objectId == object)
            return entry.node.get();
    }
    return nullptr;
}

const PipeWireNode* PipeWireRegistry::nodeNamed(const std::string& name) const {
    for (const auto& [globalId, entry] : nodes_) {
        if (entry.pendingSync == 0 && entry.node->identity().name == name) return entry.node.get();
    }
    return nullptr;
}

bool PipeWireRegistry::hasNode(std::uint64_t serial) const {
    return std::any_of(nodes_.begin(), nodes_.end(), [serial](const auto& node) {
        return node.second.node->identity().serial == serial;
    });
}

const PipeWireNode* PipeWireRegistry::defaultNode(const char* key) const {
    if (!defaults_) return nullptr;
    const std::string name = defaults_->nameIn(key);
    return name.empty() ? nullptr : nodeNamed(name);
}

const PipeWireNode* PipeWireRegistry::defaultSink() const {
    const PipeWireNode* node = defaultNode(kDefaultSinkKey);
    return node != nullptr && node->isSink() ? node : nullptr;
}

const PipeWireNode* PipeWireRegistry::defaultSource() const {
    const PipeWireNode* node = defaultNode(kDefaultSourceKey);
    return node != nullptr && node->isSource() ? node : nullptr;
}

bool PipeWireRegistry::missesDefaults() const {
    if (!defaults_) return false;
    const auto isMissing = [this](const char* key, bool (PipeWireNode::*fits)() const) {
        const bool hasDevice = std::any_of(nodes_.begin(), nodes_.end(), [fits](const auto& node) {
            return (node.second.node.get()->*fits)();
        });
        return hasDevice && defaults_->value(key).empty();
    };
    return isMissing(kDefaultSinkKey, &PipeWireNode::isSink) ||
           isMissing(kDefaultSourceKey, &PipeWireNode::isSource);
}

bool PipeWireRegistry::renewDefaults() {
    constexpr int kUsefulRenewals = 3;
    if (!defaults_ || defaults_->fruitlessRenewals() >= kUsefulRenewals) return false;
    defaults_->renew();
    return true;
}

double PipeWireRegistry::graphRate() const {
    constexpr double kServersOwnDefault = 48000;
    if (!settings_) return kServersOwnDefault;
    for (const char* key : {"clock.force-rate", "clock.rate"}) {
        const double rate = std::strtod(settings_->value(key).c_str(), nullptr);
        if (rate > 0) return rate;
    }
    return kServersOwnDefault;
}

}  // namespace tapwell
