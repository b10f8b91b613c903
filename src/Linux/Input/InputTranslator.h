#pragma once

#include "Linux/Input/KeyCodes.h"
#include "Platform/InputSource.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <vector>

namespace keysong {

/// Turns what Linux reports of keys, buttons, wheels and fingers into raw events, keeping what a single
/// report does not contain: which modifiers are held, on which device, and how far a wheel has turned.
///
/// One thread: the tap's. Everything from hardware and from software is kept apart, so that a modifier held
/// by software never shows in a hardware event. Allocates only when a modifier is pressed or a device is new.
class InputTranslator {
  public:
    /// Any number that stays with a device while it is there.
    using Device = std::uintptr_t;
    /// When something happened, on the monotonic clock; 0 where it is not known.
    using Time = std::chrono::microseconds;

    explicit InputTranslator(RawEventHandler emit) : emit_(std::move(emit)) {}

    /// A key went down (1), came up (0) or repeats (2). What is no key is ignored.
    void key(Device device, std::int64_t sourceState, std::uint16_t linuxCode, std::int32_t value,
             Time time = {});
    /// A mouse button (BTN_LEFT and so on). Buttons of other things are ignored.
    void button(std::int64_t sourceState, std::uint16_t linuxCode, bool pressed, Time time = {});
    /// A notched wheel turned vertically, in 120ths of a notch. One event for each time that one or more
    /// notches were completed. A part of a notch counts until the wheel turns back or rests for a second;
    /// wheels that tell whole notches need no time.
    void wheel(Device device, std::int64_t sourceState, double steps120, Time time = {});
    /// Fingers scrolled vertically, in points; the gesture ends when they stop.
    void fingers(Device device, std::int64_t sourceState, double points, bool ends, Time time = {});
    /// Fewer presses than releases may have been seen: lets go of what the device holds.
    void release(Device device);
    /// Forgets the device, letting go of what it holds.
    void remove(Device device);
    /// Forgets everything without an event.
    void reset();

  private:
    struct HeldModifier {
        std::uint16_t linuxCode;
        std::int64_t sourceState;
    };
    struct DeviceState {
        std::vector<HeldModifier> modifiers;
        double wheelSteps = 0;
        Time lastTurn{};
        bool scrolling = false;
        double scrollRemainder = 0;
    };

    [[nodiscard]] RawEvent event(RawEventType type, std::int64_t sourceState, Time time) const;
    /// The flag word of one origin: Caps Lock and all held modifiers.
    [[nodiscard]] std::uint64_t flags(std::int64_t sourceState) const;
    void pressModifier(DeviceState& state, std::uint16_t linuxCode, std::int64_t sourceState, Time time);
    void releaseModifier(DeviceState& state, std::uint16_t linuxCode, Time time);

    RawEventHandler emit_;
    std::map<Device, DeviceState> devices_;
    bool hardwareCapsLock_ = false;
    bool softwareCapsLock_ = false;
};

/// Feeds recorded kernel events of one device through the translator: what libinput does for live devices.
/// One thread.
class EvdevTranslator {
  public:
    explicit EvdevTranslator(RawEventHandler emit) : translator_(std::move(emit)) {}

    /// One kernel event; wheels are told at the end of their report.
    void event(std::uint16_t type, std::uint16_t code, std::int32_t value, InputTranslator::Time time = {});

  private:
    void endReport(InputTranslator::Time time);

    InputTranslator translator_;
    std::int32_t wheel_ = 0;
    std::int32_t fineWheel_ = 0;
    /// The device reports fine steps beside whole notches: only they count, or a notch would come twice.
    bool hasFineWheel_ = false;
    /// After a buffer overrun the rest of the report is not to be trusted.
    bool dropping_ = false;
};

} // namespace keysong
