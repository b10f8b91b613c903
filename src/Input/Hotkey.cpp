#include "Input/Hotkey.h"

#include "Shared/Log.h"

#include <map>
#include <utility>

namespace keysong {

namespace {

/// "vimp".
constexpr std::uint32_t hotKeySignature = 0x76696D70;

void logRefusal(HotkeyStatus status) {
    log.error("hotkey registration failed, status %{public}d", status);
}

} // namespace

struct HotkeyRegistry::State {
    /// The hotkeys own their actions: a released one runs nothing, even before its entry is removed.
    std::map<std::uint32_t, std::weak_ptr<const Hotkey::Action>> actions;
    std::uint32_t nextID = 1;

    HotkeyStatus hotKeyHandler(const HotkeyEvent* event) const {
        if (event == nullptr) {
            return eventNotHandledErr;
        }
        if (event->identityStatus != noErr) {
            return event->identityStatus;
        }
        const auto entry = actions.find(event->identity.id);
        if (entry != actions.end()) {
            if (const auto action = entry->second.lock()) {
                (*action)();
            }
        }
        return noErr;
    }
};

HotkeyRegistry::HotkeyRegistry(HotkeyRegistrar& registrar, TaskQueue& mainQueue)
    : registrar_(registrar), mainQueue_(mainQueue), state_(std::make_shared<State>()) {
}

void HotkeyRegistry::installHandlersOnce() {
    if (std::exchange(handlersInstalled_, true)) {
        return;
    }
    const std::weak_ptr<State> weakState = state_;
    registrar_.installHandlers({[weakState](const HotkeyEvent* event) {
                                    const auto state = weakState.lock();
                                    return state == nullptr ? noErr : state->hotKeyHandler(event);
                                },
                                [weakState](HotkeyIdentity identity, HotkeyStatus status) {
                                    logRefusal(status);
                                    if (const auto state = weakState.lock()) {
                                        state->actions.erase(identity.id);
                                    }
                                }});
}

Hotkey::Hotkey(HotkeyRegistry& registry, std::uint32_t keyCode, std::uint32_t modifiers, Action action)
    : registry_(registry), id_(registry.state_->nextID++),
      action_(std::make_shared<const Action>(std::move(action))) {
    registry_.installHandlersOnce();
    registry_.state_->actions.emplace(id_, action_);
    const HotkeyIdentity identity{hotKeySignature, id_};
    const HotkeyStatus status = registry_.registrar_.registerHotkey({keyCode, modifiers}, identity);
    if (status == noErr) {
        hotKeyRef_ = identity;
    } else {
        logRefusal(status);
        registry_.state_->actions.erase(id_);
    }
}

Hotkey::~Hotkey() {
    if (hotKeyRef_) {
        registry_.registrar_.unregisterHotkey(*hotKeyRef_);
    }
    registry_.mainQueue_.async([weakState = std::weak_ptr(registry_.state_), id = id_] {
        if (const auto state = weakState.lock()) {
            state->actions.erase(id);
        }
    });
}

} // namespace keysong
