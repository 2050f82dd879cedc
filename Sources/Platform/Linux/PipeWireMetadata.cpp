#include "Platform/Linux/PipeWireMetadata.h"

#include <spa/utils/json.h>

#include <array>
#include <utility>

namespace tapwell {

PipeWireMetadata::PipeWireMetadata(pw_registry* registry, std::uint32_t globalId,
                                   std::function<void()> changed)
    : registry_(registry), globalId_(globalId), changed_(std::move(changed)) {
    bind();
}

PipeWireMetadata::~PipeWireMetadata() {
    unbind();
}

void PipeWireMetadata::bind() {
    proxy_ = static_cast<pw_proxy*>(
        pw_registry_bind(registry_, globalId_, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
    if (proxy_ == nullptr) return;
    static const pw_metadata_events events = [] {
        pw_metadata_events made{};
        made.version = PW_VERSION_METADATA_EVENTS;
        made.property = &onProperty;
        return made;
    }();
    pw_metadata_add_listener(reinterpret_cast<pw_metadata*>(proxy_), &hook_, &events, this);
}

void PipeWireMetadata::unbind() {
    if (proxy_ == nullptr) return;
    spa_hook_remove(&hook_);
    pw_proxy_destroy(proxy_);
    proxy_ = nullptr;
}

void PipeWireMetadata::renew() {
    ++fruitlessRenewals_;
    unbind();
    bind();
}

int PipeWireMetadata::onProperty(void* self, std::uint32_t subject, const char* key, const char*,
                                 const char* value) {
    auto* metadata = static_cast<PipeWireMetadata*>(self);
    if (subject != PW_ID_CORE) return 0;
    if (key == nullptr) {
        metadata->values_.clear();
    } else if (value == nullptr) {
        metadata->values_.erase(key);
    } else {
        metadata->values_[key] = value;
        metadata->fruitlessRenewals_ = 0;
    }
    metadata->changed_();
    return 0;
}

std::string PipeWireMetadata::value(const std::string& key) const {
    const auto entry = values_.find(key);
    return entry == values_.end() ? std::string() : entry->second;
}

std::string PipeWireMetadata::nameIn(const std::string& key) const {
    const std::string text = value(key);
    std::array<spa_json, 2> iterators{};
    spa_json_init(&iterators[0], text.data(), text.size());
    if (spa_json_enter_object(&iterators[0], &iterators[1]) <= 0) return {};
    std::array<char, 1024> member{};
    while (spa_json_get_string(&iterators[1], member.data(), static_cast<int>(member.size())) > 0) {
        if (std::string_view(member.data()) == "name") {
            const bool isText = spa_json_get_string(&iterators[1], member.data(),
                                                    static_cast<int>(member.size())) > 0;
            return isText ? std::string(member.data()) : std::string();
        }
        const char* skipped = nullptr;
        if (spa_json_next(&iterators[1], &skipped) <= 0) return {};
    }
    return {};
}

}  // namespace tapwell
