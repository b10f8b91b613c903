#include "App/AppState.h"

#include <algorithm>

namespace keysong {

void AppState::resetTone() {
    setTone(0);
    setBody(0);
}

void AppState::addMutedApp(const std::string& bundleId) {
    auto identifiers = mutedApps();
    if (bundleId.empty() || std::ranges::find(identifiers, bundleId) != identifiers.end()) {
        return;
    }
    identifiers.push_back(bundleId);
    setMutedApps(identifiers);
}

void AppState::removeMutedApp(const std::string& bundleId) {
    auto identifiers = mutedApps();
    std::erase(identifiers, bundleId);
    setMutedApps(identifiers);
}

} // namespace keysong
