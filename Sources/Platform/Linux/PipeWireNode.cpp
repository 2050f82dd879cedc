#include "Platform/Linux/PipeWireNode.h"

#include <spa/param/audio/format-utils.h>
#include <spa/pod/iter.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace tapwell {
namespace {

constexpr std::string_view kNullSinkFactory = "support.null-audio-sink";

std::string_view lookUp(const spa_dict& properties, const char* key) {
    const char* value = spa_dict_lookup(&properties, key);
    return value != nullptr ? std::string_view(value) : std::string_view();
}

std::uint32_t transportTypeOf(const spa_dict& properties, std::string_view mediaClass) {
    const std::string_view bus = lookUp(properties, PW_KEY_DEVICE_BUS);
    const std::string_view factory = lookUp(properties, PW_KEY_FACTORY_NAME);
    if (lookUp(properties, PW_KEY_DEVICE_API) == "bluez5" || bus == "bluetooth" ||
        factory.starts_with("api.bluez5")) {
        // Basic Audio Profile is what runs over the low-energy transport.
        const std::string_view profile = lookUp(properties, "api.bluez5.profile");
        return profile.starts_with("bap") ? kAudioDeviceTransportTypeBluetoothLE
                                          : kAudioDeviceTransportTypeBluetooth;
    }
    if (factory == kNullSinkFactory || lookUp(properties, PW_KEY_NODE_VIRTUAL) == "true" ||
        mediaClass.ends_with("/Virtual"))
        return kAudioDeviceTransportTypeVirtual;
    if (bus == "pci" || bus == "isa") return kAudioDeviceTransportTypeBuiltIn;
    return kAudioDeviceTransportTypeUnknown;
}

/// The integers of a property: the value or the default first, then a choice's other values.
std::vector<std::uint32_t> integersOf(const spa_pod* format, std::uint32_t key,
                                      std::uint32_t& choice) {
    const spa_pod_prop* property = spa_pod_find_prop(format, nullptr, key);
    if (property == nullptr) return {};
    std::uint32_t count = 0;
    const spa_pod* values = spa_pod_get_values(&property->value, &count, &choice);
    if (values->type != SPA_TYPE_Int) return {};
    const auto* integers = static_cast<const std::int32_t*>(SPA_POD_BODY_CONST(values));
    std::vector<std::uint32_t> result;
    for (std::uint32_t i = 0; i < count; ++i)
        result.push_back(static_cast<std::uint32_t>(integers[i]));
    return result;
}

std::vector<std::uint32_t> positionsOf(const spa_pod* format) {
    std::uint32_t choice = SPA_CHOICE_None;
    const std::vector<std::uint32_t> counts = integersOf(format, SPA_FORMAT_AUDIO_channels, choice);
    std::vector<std::uint32_t> positions(SPA_AUDIO_MAX_CHANNELS, SPA_AUDIO_CHANNEL_UNKNOWN);
    const spa_pod_prop* property = spa_pod_find_prop(format, nullptr, SPA_FORMAT_AUDIO_position);
    const std::uint32_t told =
        property == nullptr ? 0
                            : spa_pod_copy_array(&property->value, SPA_TYPE_Id, positions.data(),
                                                 static_cast<std::uint32_t>(positions.size()));
    const std::size_t count = counts.empty() ? told : counts.front();
    positions.resize(std::min<std::size_t>(count, SPA_AUDIO_MAX_CHANNELS));
    return positions;
}

}  // namespace

PipeWireNode::PipeWireNode(pw_registry* registry, Identity identity, std::function<void()> changed)
    : identity_(std::move(identity)),
      changed_(std::move(changed)),
      proxy_(static_cast<pw_proxy*>(pw_registry_bind(registry, identity_.globalId,
                                                     PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0))) {
    if (proxy_ == nullptr) return;
    static const pw_node_events events = [] {
        pw_node_events made{};
        made.version = PW_VERSION_NODE_EVENTS;
        made.info = &onInfo;
        made.param = &onParam;
        return made;
    }();
    auto* node = reinterpret_cast<pw_node*>(proxy_);
    pw_node_add_listener(node, &hook_, &events, this);
    std::uint32_t ids[] = {SPA_PARAM_EnumFormat, SPA_PARAM_Format};
    pw_node_subscribe_params(node, ids, SPA_N_ELEMENTS(ids));
}

PipeWireNode::~PipeWireNode() {
    if (proxy_ == nullptr) return;
    spa_hook_remove(&hook_);
    pw_proxy_destroy(proxy_);
}

void PipeWireNode::onInfo(void* self, const pw_node_info* info) {
    auto* node = static_cast<PipeWireNode*>(self);
    if ((info->change_mask & PW_NODE_CHANGE_MASK_PROPS) == 0 || info->props == nullptr) return;
    node->readProperties(*info->props);
    node->changed_();
}

void PipeWireNode::readProperties(const spa_dict& properties) {
    transportType_ = transportTypeOf(properties, identity_.mediaClass);
    isNullSink_ = lookUp(properties, PW_KEY_FACTORY_NAME) == kNullSinkFactory;
    const std::string rate(lookUp(properties, PW_KEY_AUDIO_RATE));
    declaredRate_ = static_cast<std::uint32_t>(std::strtoul(rate.c_str(), nullptr, 10));
}

void PipeWireNode::onParam(void* self, int, std::uint32_t id, std::uint32_t index, std::uint32_t,
                           const spa_pod* param) {
    auto* node = static_cast<PipeWireNode*>(self);
    if (id == SPA_PARAM_Format) {
        node->current_ = parseFormat(param);
    } else if (id == SPA_PARAM_EnumFormat) {
        // A renewed list begins at its first entry again.
        if (node->offered_.isKnown && index > node->offeredIndex_) return;
        node->offered_ = parseFormat(param);
        node->offeredIndex_ = index;
    }
    node->changed_();
}

PipeWireNode::Format PipeWireNode::parseFormat(const spa_pod* param) {
    Format format;
    std::uint32_t mediaType = 0;
    std::uint32_t mediaSubtype = 0;
    if (param == nullptr || spa_format_parse(param, &mediaType, &mediaSubtype) < 0 ||
        mediaType != SPA_MEDIA_TYPE_audio || mediaSubtype != SPA_MEDIA_SUBTYPE_raw)
        return format;
    format.isKnown = true;
    format.positions = positionsOf(param);
    std::uint32_t choice = SPA_CHOICE_None;
    const std::vector<std::uint32_t> rates = integersOf(param, SPA_FORMAT_AUDIO_rate, choice);
    if (rates.empty()) return format;
    format.rate = rates.front();
    const auto [lowest, highest] = std::minmax_element(rates.begin(), rates.end());
    format.lowestRate = *lowest;
    format.highestRate = *highest;
    return format;
}

const std::vector<std::uint32_t>& PipeWireNode::channelPositions() const {
    static const std::vector<std::uint32_t> stereo{SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR};
    // What the node offers comes first: while it runs, the format is the same for a virtual node
    // but that of the wire for others.
    if (!offered_.positions.empty()) return offered_.positions;
    if (!current_.positions.empty()) return current_.positions;
    return stereo;
}

double PipeWireNode::ownRate(double graphRate) const {
    if (current_.rate != 0) return current_.rate;
    if (declaredRate_ != 0) return declaredRate_;
    if (offered_.rate == 0) return graphRate;
    const bool takesGraphRate =
        offered_.lowestRate <= graphRate && graphRate <= offered_.highestRate;
    return takesGraphRate ? graphRate : offered_.rate;
}

}  // namespace tapwell
