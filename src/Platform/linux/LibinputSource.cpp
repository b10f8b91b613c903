#include "Platform/linux/LibinputSource.h"

#include "Platform/linux/KeyboardNodes.h"
#include "Platform/linux/LibinputTap.h"

#include <algorithm>

namespace keysong {

bool LibinputSource::isTrusted() const {
    const auto nodes = keyboardNodes();
    return std::any_of(nodes.begin(), nodes.end(), isReadable);
}

std::unique_ptr<InputTap> LibinputSource::createTap(EventMask mask, RawEventHandler handler) {
    if (!isTrusted()) {
        return nullptr;
    }
    auto tap = std::make_unique<LibinputTap>(mask, std::move(handler));
    return tap->open() ? std::move(tap) : nullptr;
}

} // namespace keysong
