#include "Linux/Frontmost/X11Frontmost.h"

#include "Linux/Frontmost/ProcessProgram.h"
#include "Linux/System/EpollRunLoop.h"
#include "Linux/System/OneShotTimer.h"
#include "Linux/System/Xcb.h"

#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <array>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace keysong {

namespace {

/// A server that takes longer is as good as gone.
constexpr auto longestReply = std::chrono::seconds(1);
/// Readings in a row; a client that changes things without end must not keep the loop from all else.
constexpr int mostRounds = 8;
constexpr auto restBetweenRounds = std::chrono::milliseconds(50);

/// The texts of a property that holds several, each ended by a zero byte, the last one perhaps not.
std::string_view textAt(std::string_view bytes, std::size_t index) {
    for (; index > 0; --index) {
        const std::size_t end = bytes.find('\0');
        bytes = end == std::string_view::npos ? std::string_view() : bytes.substr(end + 1);
    }
    return bytes.substr(0, bytes.find('\0'));
}

bool isThisMachine(std::string_view name) {
    std::array<char, HOST_NAME_MAX + 1> own{};
    return gethostname(own.data(), own.size() - 1) == 0 && name == own.data();
}

class X11Frontmost final : public FrontmostSource {
  public:
    [[nodiscard]] const char* name() const noexcept override { return "X11"; }

    void open(EpollRunLoop& loop, Listener& listener) override {
        loop_ = &loop;
        listener_ = &listener;
        if (std::getenv("DISPLAY") == nullptr) {
            listener.sourceFailed(Failure::notOffered);
        } else if (connect()) {
            listener.sourceReady();
            active_ = XCB_NONE;
            activeChanged_ = true;
            dispatch();
        } else {
            listener.sourceFailed(Failure::unreachable);
        }
    }

    void close() noexcept override {
        again_.reset();
        if (watched_) {
            loop_->unwatch(xcb_get_file_descriptor(connection_.get()));
            watched_ = false;
        }
        connection_.reset();
    }

  private:
    enum Atom { activeWindow, gtkApplicationId, netWmPid, atomCount };

    bool connect() {
        int screen = 0;
        connection_.reset(connectXcb(nullptr, &screen));
        if (isLost()) {
            return false;
        }
        root_ = rootWindow(connection_.get(), screen);
        if (root_ == XCB_WINDOW_NONE || !internAtoms()) {
            return false;
        }
        select(root_, XCB_EVENT_MASK_PROPERTY_CHANGE);
        xcb_flush(connection_.get());
        again_ = std::make_unique<OneShotTimer>(*loop_, [this] { dispatch(); });
        watched_ = loop_->watch(xcb_get_file_descriptor(connection_.get()), [this] { dispatch(); });
        return watched_ && !isLost();
    }

    bool internAtoms() {
        constexpr std::array<std::string_view, atomCount> names = {"_NET_ACTIVE_WINDOW",
                                                                   "_GTK_APPLICATION_ID", "_NET_WM_PID"};
        std::array<xcb_intern_atom_cookie_t, atomCount> cookies{};
        for (std::size_t i = 0; i < atomCount; ++i) {
            cookies.at(i) = xcb_intern_atom(
                connection_.get(), 0, static_cast<std::uint16_t>(names.at(i).size()), names.at(i).data());
        }
        for (std::size_t i = 0; i < atomCount; ++i) {
            const auto reply = wait<xcb_intern_atom_reply_t>(cookies.at(i).sequence);
            atoms_.at(i) = reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
        }
        return !isLost() && atoms_[activeWindow] != XCB_ATOM_NONE;
    }

    [[nodiscard]] bool isLost() const {
        return connection_ == nullptr || timedOut_ || xcb_connection_has_error(connection_.get()) != 0;
    }

    void select(xcb_window_t window, std::uint32_t events) {
        xcb_change_window_attributes(connection_.get(), window, XCB_CW_EVENT_MASK, &events);
    }

    /// The answer to a request; null for an error, and when none comes in time.
    template <typename Reply>
    XcbRef<Reply> wait(unsigned sequence) {
        const auto deadline = std::chrono::steady_clock::now() + longestReply;
        xcb_flush(connection_.get());
        while (!isLost()) {
            void* reply = nullptr;
            xcb_generic_error_t* error = nullptr;
            if (xcb_poll_for_reply(connection_.get(), sequence, &reply, &error) != 0) {
                std::free(error);
                return XcbRef<Reply>(static_cast<Reply*>(reply));
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd descriptor{xcb_get_file_descriptor(connection_.get()), POLLIN, 0};
            timedOut_ = left.count() <= 0 || poll(&descriptor, 1, static_cast<int>(left.count())) == 0;
        }
        return nullptr;
    }

    xcb_get_property_cookie_t ask(xcb_window_t window, xcb_atom_t property) {
        return xcb_get_property(connection_.get(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                                longestWindowText / 4);
    }

    /// The bytes of a property of that element size in bits; empty when it is not there or too long.
    std::string property(xcb_get_property_cookie_t cookie, int format) {
        const auto reply = wait<xcb_get_property_reply_t>(cookie.sequence);
        if (reply == nullptr || reply->format != format || reply->bytes_after != 0) {
            return {};
        }
        return {static_cast<const char*>(xcb_get_property_value(reply.get())),
                static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
    }

    std::uint32_t number(xcb_get_property_cookie_t cookie) {
        const std::string bytes = property(cookie, 32);
        std::uint32_t value = 0;
        if (bytes.size() >= sizeof value) {
            std::memcpy(&value, bytes.data(), sizeof value);
        }
        return value;
    }

    void dispatch() {
        for (int round = 0; round < mostRounds; ++round) {
            takeEvents();
            if (!isLost() && activeChanged_) {
                readActiveWindow();
            }
            if (isLost()) {
                timedOut_ = false;
                listener_->sourceFailed(Failure::unreachable);
                // No end of the silent connection must wake the loop until the source is closed.
                loop_->unwatch(xcb_get_file_descriptor(connection_.get()));
                watched_ = false;
                return;
            }
            // Waiting for a reply also takes in events, for which the descriptor wakes nobody.
            if (!takeQueuedEvents()) {
                return;
            }
        }
        again_->arm(restBetweenRounds);
    }

    /// Notes what one reading of the connection brings.
    void takeEvents() {
        if (const XcbRef<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
            note(*event);
            takeQueuedEvents();
        }
    }

    bool takeQueuedEvents() {
        bool any = false;
        while (const XcbRef<xcb_generic_event_t> event{xcb_poll_for_queued_event(connection_.get())}) {
            any = true;
            note(*event);
        }
        return any;
    }

    void note(const xcb_generic_event_t& event) {
        switch (event.response_type & 0x7F) {
        case XCB_PROPERTY_NOTIFY: {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
            const bool names = change.atom == XCB_ATOM_WM_CLASS || change.atom == atoms_[gtkApplicationId];
            activeChanged_ = activeChanged_ || (change.window == root_ ? change.atom == atoms_[activeWindow]
                                                                       : change.window == active_ && names);
            break;
        }
        case XCB_DESTROY_NOTIFY:
            activeChanged_ = activeChanged_ ||
                             reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window == active_;
            break;
        default: // errors among them: every window may vanish at any time
            break;
        }
    }

    void readActiveWindow() {
        activeChanged_ = false;
        const xcb_window_t window = number(ask(root_, atoms_[activeWindow]));
        if (window != active_ && active_ != XCB_NONE) {
            select(active_, XCB_EVENT_MASK_NO_EVENT);
        }
        active_ = window;
        if (window == XCB_NONE) {
            listener_->windowInFront(std::nullopt);
            return;
        }
        select(window, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
        WindowIdentity identity = identify(window);
        if (identity.applicationId.empty() && identity.windowClass.empty()) {
            // Some windows are named only after they came up: then wait for the name. Otherwise the
            // properties stay unwatched, for some of them change with every key.
            select(window, XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
            identity = identify(window);
        }
        // Of a window that has vanished nothing is known.
        listener_->windowInFront(identity == WindowIdentity() ? std::nullopt : std::optional(identity));
        xcb_flush(connection_.get());
    }

    WindowIdentity identify(xcb_window_t window) {
        const auto gtkId = ask(window, atoms_[gtkApplicationId]);
        const auto windowClass = ask(window, XCB_ATOM_WM_CLASS);
        const auto machine = ask(window, XCB_ATOM_WM_CLIENT_MACHINE);
        const auto process = ask(window, atoms_[netWmPid]);
        WindowIdentity identity;
        identity.applicationId = property(gtkId, 8);
        const std::string classes = property(windowClass, 8);
        identity.windowInstance = textAt(classes, 0);
        identity.windowClass = textAt(classes, 1);
        const std::string host = property(machine, 8);
        const std::uint32_t pid = number(process);
        if (host.empty() || isThisMachine(host)) {
            identity.executable = programOfProcess(pid);
        }
        return identity;
    }

    EpollRunLoop* loop_ = nullptr;
    Listener* listener_ = nullptr;
    XcbConnection connection_;
    std::unique_ptr<OneShotTimer> again_;
    bool watched_ = false;
    bool timedOut_ = false;
    std::array<xcb_atom_t, atomCount> atoms_{};
    xcb_window_t root_ = XCB_NONE;
    xcb_window_t active_ = XCB_NONE;
    bool activeChanged_ = false;
};

} // namespace

std::unique_ptr<FrontmostSource> makeX11Frontmost() {
    return std::make_unique<X11Frontmost>();
}

} // namespace keysong
