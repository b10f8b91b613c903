#pragma once

#include "Linux/System/Xcb.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace keysong::test {

/// Another client of an X server, which plays the part of hands and of other programs. Every operation has
/// been done by the server when it returns.
class XTestClient {
  public:
    using DeviceId = std::uint16_t;

    /// Keys and buttons of no device in particular are injected: they come from the server's XTEST devices.
    static constexpr DeviceId injected = 0;

    explicit XTestClient(const std::string& display);

    /// 0 when there is none.
    [[nodiscard]] DeviceId deviceNamed(std::string_view name) const;

    /// Presses or releases a key (KEY_*) or a button of a device.
    void key(DeviceId device, int linuxCode, bool pressed) const;
    void button(DeviceId device, int number, bool pressed) const;
    void tap(DeviceId device, int linuxCode) const {
        key(device, linuxCode, true);
        key(device, linuxCode, false);
    }
    /// Moves the pointer to a place on the screen.
    void moveTo(int x, int y) const;
    /// Presses and releases a button there, 1 for the first; 4 and 5 turn the wheel up and down by a notch.
    void clickAt(int x, int y, int button = 1) const;

    /// What the screen shows in a rectangle, row by row: 32 bits a pixel.
    [[nodiscard]] std::vector<std::uint32_t> picture(int x, int y, int width, int height) const;

    /// What the drivers of a real server say of the kernel's node.
    void setNode(DeviceId device, std::string_view node) const;
    /// What a driver offers to be set: a property of small numbers.
    void setChoice(DeviceId device, std::string_view name, std::string_view bytes) const;
    /// A device that is switched off and on again is what is unplugged and plugged to others.
    void setEnabled(DeviceId device, bool enabled) const;
    /// Makes a pair of masters with XTEST devices of their own, whose names all begin with `name`.
    void addMaster(std::string_view name) const;

    void addMonitor(std::string_view name) const;
    void removeMonitor(std::string_view name) const;

    /// Takes the keyboard for this client alone, and receives its keys from then on.
    void grabKeyboard() const;
    /// Waits until the server has told this client of so many presses, repeats included.
    [[nodiscard]] bool receivesPresses(int count) const;

  private:
    void fake(std::uint8_t type, DeviceId device, int detail, int x = 0, int y = 0) const;
    void setProperty(DeviceId device, std::string_view name, std::uint32_t type,
                     std::string_view bytes) const;
    [[nodiscard]] std::uint32_t atom(std::string_view name) const;
    void sync() const;

    const XcbConnection connection_;
    xcb_connection_t* const client_ = connection_.get();
    const xcb_window_t root_ = rootWindow(client_, 0);
};

} // namespace keysong::test
