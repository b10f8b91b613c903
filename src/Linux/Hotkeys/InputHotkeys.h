#pragma once

#include "Linux/Hotkeys/HotkeyDelivery.h"
#include "Linux/Hotkeys/HotkeyTable.h"
#include "Platform/RawEvent.h"
#include "Shared/Mutex.h"

namespace keysong {

/// Hotkeys recognised among the events that the program hears anyway, for sessions in which neither the
/// display server nor the desktop offers any. The press also reaches the application in front.
///
/// The keys of both sides count. The right Alt key is AltGr on many layouts, which its code does not show;
/// there it types characters, but not together with Control, which every hotkey of the program has.
///
/// An event is compared with the registered combinations and forgotten. Nothing of it is kept, counted or
/// passed on: the program learns only that one of its own hotkeys was pressed.
class InputHotkeys final : public HotkeyRegistrar {
  public:
    /// The queue outlives the registrar and runs its tasks on the main thread.
    explicit InputHotkeys(TaskQueue& mainQueue) : delivery_(mainQueue) {}

    /// Looks at one event. The event-tap thread: an event without modifiers costs two compares, one with
    /// modifiers a short lock besides, a press of a hotkey a task for the main thread.
    void observe(const RawEvent& event) KEYSONG_EXCLUDES(mutex_);

    void installHandlers(Handlers handlers) override { delivery_.install(std::move(handlers)); }
    [[nodiscard]] HotkeyStatus registerHotkey(HotkeyCombination combination, HotkeyIdentity identity) override
        KEYSONG_EXCLUDES(mutex_);
    void unregisterHotkey(HotkeyIdentity identity) override KEYSONG_EXCLUDES(mutex_);
    [[nodiscard]] std::string_view way() const override { return "input"; }

  private:
    HotkeyDelivery delivery_;
    Mutex mutex_;
    HotkeyTable table_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong
