#pragma once

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace tapwell {

/// The entries that a metadata object of the audio server holds about the whole server. Used with
/// the loop's lock held, and on the loop's thread.
class PipeWireMetadata {
public:
    PipeWireMetadata(pw_registry* registry, std::uint32_t globalId, std::function<void()> changed);
    ~PipeWireMetadata();
    PipeWireMetadata(const PipeWireMetadata&) = delete;
    PipeWireMetadata& operator=(const PipeWireMetadata&) = delete;

    std::uint32_t globalId() const { return globalId_; }
    /// Has all entries told again.
    void renew();
    /// Times that `renew` was called since the last entry was told.
    int fruitlessRenewals() const { return fruitlessRenewals_; }
    /// Empty when there is no such entry.
    std::string value(const std::string& key) const;
    /// The member "name" of an entry that is a JSON object; empty when there is none.
    std::string nameIn(const std::string& key) const;

private:
    void bind();
    void unbind();
    static int onProperty(void* self, std::uint32_t subject, const char* key, const char* type,
                          const char* value);

    pw_registry* registry_;
    std::uint32_t globalId_;
    std::function<void()> changed_;
    std::map<std::string, std::string> values_;
    int fruitlessRenewals_ = 0;
    pw_proxy* proxy_ = nullptr;
    spa_hook hook_{};
};

}  // namespace tapwell
