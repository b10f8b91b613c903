#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct xcb_connection_t;

namespace keysong {

/// One thing that an X server told about its input devices.
struct X11Event {
    enum class Kind : std::uint8_t {
        keyPressed,
        keyReleased,
        buttonPressed,
        buttonReleased,
        /// The device is new, came back or moved to another master: what was known of it may be wrong.
        deviceChanged,
        /// The device was removed or disabled.
        deviceGone,
    };

    Kind kind{};
    /// The device itself, not the master that it moves.
    std::uint16_t device = 0;
    /// X key code or button number; 0 for devices.
    std::uint32_t detail = 0;
};

/// What an X server says of one of its devices.
struct X11Device {
    /// It stands for clients that inject input (XTEST).
    bool injector = false;
    /// The kernel's node that the server reads, such as /dev/input/event3; empty when it has none.
    std::string node;
};

/// A connection to an X server with XInput 2.1, through plain xcb: errors and the server's end are values
/// here, and no handler of the whole process is set, so that it does not meddle with other users of X in the
/// process.
///
/// One thread at a time, not the render thread. Opening, the two questions and `settle` wait for the server.
class X11Connection {
  public:
    /// A connection, or the reason why there is none, as a phrase for the log.
    struct Opened {
        std::unique_ptr<X11Connection> connection;
        std::string_view refusal;
    };

    /// Connects to a display such as ":0", or when empty to the one that DISPLAY names. A server inside a
    /// Wayland session is refused: it hears only what goes to its own windows.
    [[nodiscard]] static Opened open(const std::string& display);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    /// Readable when `read` has something to do, also when the connection broke. Stays open until
    /// destruction.
    [[nodiscard]] int descriptor() const noexcept;
    /// Whether the connection broke; it stays broken.
    [[nodiscard]] bool isLost() const noexcept;

    /// The devices that there are now, masters included. Empty when lost.
    [[nodiscard]] std::vector<std::uint16_t> devices();
    /// What is known of one device; nothing of one that is gone.
    [[nodiscard]] X11Device describe(std::uint16_t device);

    /// Asks for keys and buttons, also those that another client has grabbed, and for changes of devices.
    /// Nothing of it has been read when this returns, and the server may not have seen it yet.
    void selectInput();
    /// Waits until the server has done everything asked. What came in meanwhile waits for `read` without
    /// making the descriptor readable.
    void settle();
    /// Calls `handler`, which may use this connection, for everything that waits. Does not block.
    void read(const std::function<void(const X11Event&)>& handler);

  private:
    X11Connection(xcb_connection_t* connection, int screen);
    [[nodiscard]] std::string_view prepare();
    [[nodiscard]] bool hasRawEvents();
    [[nodiscard]] bool isXwayland();
    [[nodiscard]] std::uint32_t root() const;
    [[nodiscard]] std::uint32_t atom(std::string_view name);

    xcb_connection_t* const connection_;
    const int screen_;
    std::uint8_t extension_ = 0;
    std::uint32_t injectorAtom_ = 0;
    std::uint32_t nodeAtom_ = 0;
};

} // namespace keysong
