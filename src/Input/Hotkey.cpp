#include "Input/Hotkey.h"

#include "Shared/Log.h"

#include <utility>

namespace keysong {

namespace {

/// "vimp".
constexpr std::uint32_t hotKeySignature = 0x76696D70;

void logRefusal(HotkeyStatus status) {
    log.error("hotkey registration failed, status %{public}d", status);
}

} // namespace

HotkeyRegistry::HotkeyRegistry(HotkeyRegistrar& registrar, TaskQueue& mainQueue)
    : registrar_(registrar), mainQueue_(mainQueue) {
}

void HotkeyRegistry::installHandlersOnce() {
    if (std::exchange(handlersInstalled_, true)) {
        return;
    }
    registrar_.installHandlers(
        {lifetime_.guarded([this](const HotkeyEvent* event) { return hotKeyHandler(event); }),
         lifetime_.guarded([this](HotkeyIdentity identity, HotkeyStatus status) {
             logRefusal(status);
             actions_.erase(identity.id);
         })});
}

HotkeyStatus HotkeyRegistry::hotKeyHandler(const HotkeyEvent* event) const {
    if (event == nullptr) {
        return eventNotHandledErr;
    }
    if (event->identityStatus != noErr) {
        return event->identityStatus;
    }
    const auto entry = actions_.find(event->identity.id);
    if (entry != actions_.end()) {
        entry->second();
    }
    return noErr;
}

Hotkey::Hotkey(HotkeyRegistry& registry, HotkeyCombination combination, Action action)
    : registry_(registry), id_(registry.nextID_++) {
    registry_.installHandlersOnce();
    registry_.actions_.emplace(id_, lifetime_.guarded(std::move(action)));
    const HotkeyIdentity identity{hotKeySignature, id_};
    const HotkeyStatus status = registry_.registrar_.registerHotkey(combination, identity);
    if (status == noErr) {
        hotKeyRef_ = identity;
    } else {
        logRefusal(status);
        registry_.actions_.erase(id_);
    }
}

Hotkey::~Hotkey() {
    if (hotKeyRef_) {
        registry_.registrar_.unregisterHotkey(*hotKeyRef_);
    }
    // Later, since the action that is erased may be the one that destroys its hotkey.
    registry_.mainQueue_.async(
        registry_.lifetime_.guarded([&registry = registry_, id = id_] { registry.actions_.erase(id); }));
}

} // namespace keysong
