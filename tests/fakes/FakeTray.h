#pragma once

#include "Linux/System/Xcb.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace keysong::test {

/// A panel of an X server with a tray, that embeds the windows of other programs. The test calls `process`
/// again and again.
class FakeTray {
  public:
    /// Shows the panel in the corner of the screen and takes the selection.
    explicit FakeTray(const std::string& display);
    /// Leaves the server, as a crash would.
    ~FakeTray() = default;
    FakeTray(const FakeTray&) = delete;
    FakeTray& operator=(const FakeTray&) = delete;

    void process();

    /// How many symbols are in it. A toolkit may take its symbol away and bring another one.
    [[nodiscard]] int symbols() const;

    /// Puts the pointer on the newest of them. It is there when this returns.
    void pointAtSymbol() const;

  private:
    [[nodiscard]] xcb_atom_t atom(std::string_view name) const;
    /// Sends 32-bit values to a window; `mask` says who gets them.
    void tell(xcb_window_t window, std::uint32_t mask, xcb_atom_t type,
              const xcb_client_message_data_t& data) const;
    void embed(xcb_window_t window);

    XcbConnection connection_;
    xcb_window_t root_;
    xcb_window_t panel_;
    xcb_atom_t opcode_;
    xcb_atom_t xembed_;
};

} // namespace keysong::test
