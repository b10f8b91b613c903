#include "Linux/Input/LibinputSource.h"

#include "Linux/Input/KeyboardNodes.h"
#include "Linux/Input/LibinputTap.h"
#include "Linux/Input/UdevInput.h"

namespace keysong {

bool LibinputSource::hasAccess() const {
    const UdevDevices devices;
    std::vector<HardwareNode> nodes;
    for (const std::string& node : eventNodes()) {
        const NodeState now = nodeStateOf(node);
        if (now.inode != 0 && devices.originOf(now.device) == DeviceOrigin::hardware) {
            nodes.push_back({hasLetterKeys(node), now.readable});
        }
    }
    return mayListenTo(nodes);
}

std::unique_ptr<InputTap> LibinputSource::createTap(EventMask mask, RawEventHandler handler) {
    if (!hasAccess()) {
        return nullptr;
    }
    auto tap = std::make_unique<LibinputTap>(mask, std::move(handler), *choices_);
    return tap->open() ? std::move(tap) : nullptr;
}

} // namespace keysong
