#include "Linux/Sound/PipeWireLinks.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace keysong {

namespace {

using Port = PipeWireSession::Port;

/// A node's port for a channel; the only one where it has no more.
std::optional<std::uint32_t> portFor(const std::map<std::uint32_t, Port>& ports, std::uint32_t node,
                                     bool isInput, std::string_view channel) {
    std::optional<std::uint32_t> only;
    int count = 0;
    for (const auto& [id, port] : ports) {
        if (port.node != node || port.isInput != isInput || port.isMonitor) {
            continue;
        }
        if (port.channel == channel) {
            return id;
        }
        only = id;
        ++count;
    }
    return count == 1 ? only : std::nullopt;
}

} // namespace

bool PipeWireLinks::make(PipeWireSession& session, std::uint32_t stream, std::uint32_t sink) {
    release();
    for (const char* const channel : {"FL", "FR"}) {
        const auto from = portFor(session.ports(), stream, false, channel);
        const auto to = portFor(session.ports(), sink, true, channel);
        if (!from || !to) {
            release();
            return false;
        }
        const std::string output = std::to_string(*from);
        const std::string input = std::to_string(*to);
        const std::array<spa_dict_item, 2> items{
            {{PW_KEY_LINK_OUTPUT_PORT, output.c_str()}, {PW_KEY_LINK_INPUT_PORT, input.c_str()}}};
        const spa_dict properties{0, items.size(), items.data()};
        auto* const link = static_cast<pw_proxy*>(pw_core_create_object(
            session.core(), "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties, 0));
        if (link != nullptr) {
            links_.push_back(link);
        }
    }
    stream_ = stream;
    sink_ = sink;
    return exist();
}

void PipeWireLinks::release() {
    for (pw_proxy* const link : std::exchange(links_, {})) {
        pw_proxy_destroy(link);
    }
}

bool PipeWireLinks::contain(std::uint32_t link) const {
    return std::any_of(links_.begin(), links_.end(),
                       [link](pw_proxy* own) { return pw_proxy_get_bound_id(own) == link; });
}

} // namespace keysong
