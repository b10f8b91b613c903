#include "Linux/Hotkeys/LinuxHotkeys.h"

#include "Shared/Log.h"

#include <utility>

namespace keysong {

LinuxHotkeys::LinuxHotkeys(TaskQueue& mainQueue, Threads& threads, PortalHotkeyOptions options)
    : input_(mainQueue), x11_(X11Hotkeys::make(mainQueue, threads)), current_(&input_) {
    if (x11_ != nullptr) {
        current_ = x11_.get();
    } else {
        portal_ =
            std::make_unique<PortalHotkeys>(mainQueue, threads, std::move(options), [this](bool available) {
                use(available ? static_cast<HotkeyRegistrar&>(*portal_) : input_);
            });
    }
    log.info("hotkeys by %{public}s", current_->way());
}

void LinuxHotkeys::installHandlers(Handlers handlers) {
    refused_ = [refused = handlers.refused, this](HotkeyIdentity identity, HotkeyStatus status) {
        table_.remove(identity);
        refused(identity, status);
    };
    handlers.refused = refused_;
    if (x11_ != nullptr) {
        x11_->installHandlers(handlers);
    } else {
        portal_->installHandlers(handlers);
        input_.installHandlers(handlers);
    }
}

HotkeyStatus LinuxHotkeys::registerHotkey(HotkeyCombination combination, HotkeyIdentity identity) {
    HotkeyStatus status = table_.add({combination, identity});
    if (status == noErr) {
        status = current_->registerHotkey(combination, identity);
        if (status != noErr) {
            table_.remove(identity);
        }
    }
    return status;
}

void LinuxHotkeys::unregisterHotkey(HotkeyIdentity identity) {
    table_.remove(identity);
    current_->unregisterHotkey(identity);
}

void LinuxHotkeys::use(HotkeyRegistrar& way) {
    if (current_ == &way) {
        return;
    }
    HotkeyRegistrar& old = *std::exchange(current_, &way);
    log.info("hotkeys by %{public}s", current_->way());
    const auto entries = table_.entries(); // a copy: a refusal changes the table
    for (const HotkeyEntry& entry : entries) {
        // The old way ends first: both at a time would count one press twice.
        old.unregisterHotkey(entry.identity);
        const HotkeyStatus status = current_->registerHotkey(entry.combination, entry.identity);
        if (status != noErr) {
            refused_(entry.identity, status);
        }
    }
}

} // namespace keysong
