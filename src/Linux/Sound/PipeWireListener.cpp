#include "Linux/Sound/PipeWireListener.h"

#include "Shared/NumberText.h"

#include <string_view>
#include <utility>

namespace keysong {

namespace {

/// In values a second. Far below what a voice needs, and above what a meter shows.
constexpr std::uint64_t highestMeterRate = 100;

std::string_view text(const spa_dict* properties, const char* key) {
    const char* value = spa_dict_lookup(properties, key);
    return value == nullptr ? std::string_view() : value;
}

bool isLevelMeter(const spa_dict* properties) {
    constexpr std::string_view perSecond = "1/";
    const std::string_view rate = text(properties, PW_KEY_NODE_RATE);
    return spa_atob(spa_dict_lookup(properties, PW_KEY_STREAM_MONITOR)) && rate.starts_with(perSecond) &&
           parseInteger<std::uint64_t>(rate.substr(perSecond.size())).value_or(~0ULL) <= highestMeterRate;
}

bool passesOn(const spa_dict* properties) {
    return text(properties, PW_KEY_MEDIA_CLASS).starts_with("Audio/") ||
           text(properties, PW_KEY_MEDIA_CATEGORY) == "Filter" ||
           !text(properties, PW_KEY_NODE_LINK_GROUP).empty();
}

} // namespace

// The callbacks that are left out are null, as the library wants it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
const pw_node_events PipeWireListener::nodeEvents = {
    .version = PW_VERSION_NODE_EVENTS, .info = [](void* self, const pw_node_info* info) noexcept {
        static_cast<PipeWireListener*>(self)->onInfo(info);
    }};
#pragma GCC diagnostic pop

PipeWireListener::PipeWireListener(pw_registry* registry, std::uint32_t id, std::function<void()> answered)
    : answered_(std::move(answered)),
      node_(
          static_cast<pw_node*>(pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0))) {
    if (node_ != nullptr) {
        pw_node_add_listener(node_, &hook_, &nodeEvents, this);
    }
}

PipeWireListener::~PipeWireListener() {
    if (node_ != nullptr) {
        spa_hook_remove(&hook_);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(node_));
    }
}

void PipeWireListener::onInfo(const pw_node_info* info) {
    if ((info->change_mask & PW_NODE_CHANGE_MASK_PROPS) != 0 && info->props != nullptr) {
        isCapture_ = !passesOn(info->props) && !isLevelMeter(info->props);
        answered_();
    }
}

} // namespace keysong
