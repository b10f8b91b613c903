#include "Linux/Hotkeys/X11Hotkeys.h"

#include "Linux/Hotkeys/X11KeyGrabs.h"
#include "Shared/Log.h"

#include <chrono>
#include <utility>

namespace keysong {

namespace {

/// How long after a loss, and after each vain attempt, the server is tried again.
constexpr std::chrono::seconds reconnectInterval{1};

} // namespace

std::unique_ptr<X11Hotkeys> X11Hotkeys::make(TaskQueue& mainQueue, Threads& threads) {
    std::unique_ptr<X11Hotkeys> hotkeys(new X11Hotkeys(mainQueue, threads));
    const bool connected = hotkeys->service_.ask([&] { return hotkeys->connect(); });
    return connected ? std::move(hotkeys) : nullptr;
}

X11Hotkeys::X11Hotkeys(TaskQueue& mainQueue, Threads& threads)
    : delivery_(mainQueue),
      service_(threads, {"com.orlen.keysong.hotkeys", "hotkeys", ThreadPriority::normal}) {
}

X11Hotkeys::~X11Hotkeys() = default;

HotkeyStatus X11Hotkeys::registerHotkey(HotkeyCombination combination, HotkeyIdentity identity) {
    return service_.ask([&] {
        HotkeyStatus status = table_.add({combination, identity});
        if (status == noErr && grabs_ != nullptr) {
            status = grabs_->grab(combination);
            if (status != noErr) {
                table_.remove(identity);
            }
            dispatch();
        }
        return status;
    });
}

void X11Hotkeys::unregisterHotkey(HotkeyIdentity identity) {
    service_.async([this, identity] {
        for (const HotkeyEntry& entry : table_.entries()) {
            if (entry.identity == identity && grabs_ != nullptr) {
                grabs_->ungrab(entry.combination);
            }
        }
        table_.remove(identity);
        if (grabs_ != nullptr) {
            dispatch();
        }
    });
}

bool X11Hotkeys::connect() {
    grabs_ = X11KeyGrabs::connect();
    if (grabs_ != nullptr && !service_.loop().watch(grabs_->descriptor(), [this] { dispatch(); })) {
        grabs_.reset();
    }
    return grabs_ != nullptr;
}

void X11Hotkeys::dispatch() {
    grabs_->dispatch(
        [this](HotkeyCombination combination) {
            for (const HotkeyEntry& entry : table_.entries()) {
                if (entry.combination == combination) {
                    delivery_.press(entry.identity);
                }
            }
        },
        [this](HotkeyCombination combination, HotkeyStatus status) { refuse(combination, status); });
    if (grabs_->isLost()) {
        lose();
    }
}

void X11Hotkeys::refuse(HotkeyCombination combination, HotkeyStatus status) {
    const auto entries = table_.entries(); // a copy: removing changes the table
    for (const HotkeyEntry& entry : entries) {
        if (entry.combination == combination) {
            table_.remove(entry.identity);
            delivery_.refuse(entry.identity, status);
        }
    }
}

void X11Hotkeys::lose() {
    log.info("hotkeys: the X server is away");
    service_.loop().unwatch(grabs_->descriptor());
    grabs_.reset();
    scheduleReconnect();
}

void X11Hotkeys::scheduleReconnect() {
    service_.asyncAfter(reconnectInterval, [this] { reconnect(); });
}

void X11Hotkeys::reconnect() {
    if (!connect()) {
        scheduleReconnect();
        return;
    }
    log.info("hotkeys: the X server is back");
    const auto entries = table_.entries();
    for (const HotkeyEntry& entry : entries) {
        const HotkeyStatus status = grabs_->grab(entry.combination);
        if (status != noErr && !grabs_->isLost()) {
            refuse(entry.combination, status);
        }
    }
    dispatch();
}

} // namespace keysong
