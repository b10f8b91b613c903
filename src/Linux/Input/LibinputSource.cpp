#include "Linux/Input/LibinputSource.h"

#include "Linux/Input/KeyboardNodes.h"
#include "Linux/Input/LibinputTap.h"

#include <algorithm>

namespace keysong {

bool LibinputSource::hasAccess() const {
    const auto nodes = keyboardNodes();
    return std::any_of(nodes.begin(), nodes.end(), isReadable);
}

std::unique_ptr<InputTap> LibinputSource::createTap(EventMask mask, RawEventHandler handler) {
    if (!hasAccess()) {
        return nullptr;
    }
    auto tap = std::make_unique<LibinputTap>(mask, std::move(handler));
    return tap->open() ? std::move(tap) : nullptr;
}

} // namespace keysong
