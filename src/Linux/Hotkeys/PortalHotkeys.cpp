#include "Linux/Hotkeys/PortalHotkeys.h"

#include "Linux/Hotkeys/PortalTrigger.h"

#include <algorithm>
#include <utility>

namespace keysong {

namespace {

/// The user refused.
constexpr HotkeyStatus userCanceledErr = -128;

/// Hotkeys registered this close together are bound together, so that the desktop asks once.
constexpr std::chrono::milliseconds bindDelay{50};
/// A session that the desktop ended is not asked for again at once.
constexpr std::chrono::milliseconds rebindDelay{5000};
constexpr std::chrono::seconds reconnectInterval{5};
/// Some desktops report a held shortcut repeatedly; a second press follows a release, or comes later.
constexpr std::chrono::milliseconds repeatWindow{700};

/// What the desktop remembers a shortcut by.
std::string shortcutId(HotkeyCombination combination) {
    return portalTrigger(combination).value_or("");
}

} // namespace

PortalHotkeys::PortalHotkeys(TaskQueue& mainQueue, Threads& threads, PortalHotkeyOptions options,
                             AvailabilityHandler onAvailability)
    : mainQueue_(mainQueue), delivery_(mainQueue), options_(std::move(options)),
      onAvailability_(std::move(onAvailability)), session_(options_.applicationId, events()),
      service_(threads, {"com.orlen.keysong.hotkeys", "hotkeys", ThreadPriority::normal}) {
    service_.async([this] { connect(); });
}

PortalHotkeys::~PortalHotkeys() = default;

PortalSession::Events PortalHotkeys::events() {
    return {[this](bool available) {
                if (!available) {
                    table_ = {};
                    held_.clear();
                }
                mainQueue_.async(lifetime_.guarded([this, available] { onAvailability_(available); }));
            },
            [this](const std::string& id) { activated(id); },
            [this](const std::string& id) { held_.erase(id); },
            [this](const std::string& id, PortalSession::Refusal why) { refused(id, why); },
            [this] { scheduleBind(rebindDelay); }};
}

HotkeyStatus PortalHotkeys::registerHotkey(HotkeyCombination combination, HotkeyIdentity identity) {
    if (!portalTrigger(combination)) {
        return eventHotKeyInvalidErr;
    }
    return service_.ask([&] {
        const HotkeyStatus status = table_.add({combination, identity});
        scheduleBind(bindDelay);
        return status;
    });
}

void PortalHotkeys::unregisterHotkey(HotkeyIdentity identity) {
    service_.async([this, identity] {
        if (table_.remove(identity)) {
            scheduleBind(bindDelay);
        }
    });
}

void PortalHotkeys::connect() {
    if (session_.connect()) {
        if (service_.loop().watch(session_.descriptor(), [this] { process(); })) {
            process();
            return;
        }
        session_.disconnect();
    }
    service_.asyncAfter(reconnectInterval, [this] { connect(); });
}

void PortalHotkeys::process() {
    if (!session_.process()) {
        service_.loop().unwatch(session_.descriptor());
        session_.disconnect();
        service_.asyncAfter(reconnectInterval, [this] { connect(); });
    }
}

void PortalHotkeys::scheduleBind(std::chrono::milliseconds delay) {
    if (!std::exchange(bindScheduled_, true)) {
        service_.asyncAfter(delay, [this] {
            bindScheduled_ = false;
            bind();
        });
    }
}

void PortalHotkeys::bind() {
    if (!session_.isConnected()) {
        return;
    }
    std::vector<PortalSession::Shortcut> shortcuts;
    for (const HotkeyEntry& entry : table_.entries()) {
        const std::string id = shortcutId(entry.combination);
        shortcuts.push_back({id, labelOf(entry.combination), id});
    }
    session_.bind(std::move(shortcuts));
    process();
}

std::string PortalHotkeys::labelOf(HotkeyCombination combination) const {
    const auto label = std::find_if(options_.labels.begin(), options_.labels.end(),
                                    [&](const HotkeyLabel& l) { return l.combination == combination; });
    return label != options_.labels.end() ? label->text : describeCombination(combination);
}

void PortalHotkeys::activated(const std::string& id) {
    const auto now = std::chrono::steady_clock::now();
    const auto [held, first] = held_.try_emplace(id, now);
    const bool repeats = !first && now - held->second < repeatWindow;
    held->second = now;
    for (const HotkeyEntry& entry : table_.entries()) {
        if (!repeats && shortcutId(entry.combination) == id) {
            delivery_.press(entry.identity);
        }
    }
}

void PortalHotkeys::refused(const std::string& id, PortalSession::Refusal why) {
    const auto entries = table_.entries(); // a copy: removing changes the table
    for (const HotkeyEntry& entry : entries) {
        if (shortcutId(entry.combination) == id) {
            table_.remove(entry.identity);
            delivery_.refuse(entry.identity,
                             why == PortalSession::Refusal::byUser ? userCanceledErr : eventHotKeyExistsErr);
        }
    }
}

} // namespace keysong
