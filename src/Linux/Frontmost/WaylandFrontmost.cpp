#include "Linux/Frontmost/WaylandFrontmost.h"

#include "Linux/System/EpollRunLoop.h"
#include "Linux/System/FileDescriptor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <wayland-client.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <string_view>

#include "wlr-foreign-toplevel-management-unstable-v1-client.h"

namespace keysong {

namespace {

/// More windows than anybody has; those beyond are not followed.
constexpr std::size_t mostWindows = 2048;

template <auto destroy>
struct Destroy {
    template <typename Proxy>
    void operator()(Proxy* proxy) const {
        destroy(proxy);
    }
};
using DisplayRef = std::unique_ptr<wl_display, Destroy<wl_display_disconnect>>;
using RegistryRef = std::unique_ptr<wl_registry, Destroy<wl_registry_destroy>>;
using CallbackRef = std::unique_ptr<wl_callback, Destroy<wl_callback_destroy>>;
using Manager = zwlr_foreign_toplevel_manager_v1;
using ManagerRef = std::unique_ptr<Manager, Destroy<zwlr_foreign_toplevel_manager_v1_destroy>>;
using Handle = zwlr_foreign_toplevel_handle_v1;
using HandleRef = std::unique_ptr<Handle, Destroy<zwlr_foreign_toplevel_handle_v1_destroy>>;

/// Connects to the compositor that the environment names; not open when there is none that answers.
/// wl_display_connect would rather take a connection that was handed to the program (WAYLAND_SOCKET), which
/// belongs to its windows.
FileDescriptor connectToCompositor(const Places& places) {
    const std::filesystem::path runtime(places.environment("XDG_RUNTIME_DIR").value_or(""));
    const std::string path = (runtime / places.environment("WAYLAND_DISPLAY").value_or("")).string();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (!path.starts_with('/') || path.size() >= sizeof address.sun_path) {
        return {};
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    FileDescriptor descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!descriptor.isOpen() ||
        connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return {};
    }
    return descriptor;
}

class WaylandFrontmost final : public FrontmostSource {
  public:
    explicit WaylandFrontmost(const Places& places) : places_(places) {}
    ~WaylandFrontmost() override { close(); }

    [[nodiscard]] const char* name() const noexcept override { return "wlr-foreign-toplevel"; }

    [[nodiscard]] bool isReachable() const override { return connectToCompositor(places_).isOpen(); }

    void open(EpollRunLoop& loop, Listener& listener) override {
        loop_ = &loop;
        listener_ = &listener;
        if (places_.environment("WAYLAND_DISPLAY").value_or("").empty()) {
            listener.sourceFailed(Failure::notOffered);
            return;
        }
        FileDescriptor descriptor = connectToCompositor(places_);
        if (!descriptor.isOpen()) {
            listener.sourceFailed(Failure::unreachable);
            return;
        }
        display_.reset(wl_display_connect_to_fd(descriptor.release()));
        watched_ = display_ != nullptr &&
                   loop.watch(wl_display_get_fd(display_.get()), [this] { dispatch(Reading::ready); });
        if (!watched_) {
            listener.sourceFailed(Failure::unreachable);
            return;
        }
        registry_.reset(wl_display_get_registry(display_.get()));
        wl_registry_add_listener(registry_.get(), &registryListener, this);
        askForSync();
        dispatch(Reading::nothing);
    }

    void close() noexcept override {
        if (watched_) {
            loop_->unwatch(wl_display_get_fd(display_.get()));
            watched_ = false;
        }
        windows_.clear();
        sync_.reset();
        manager_.reset();
        registry_.reset();
        display_.reset();
        stage_ = Stage::globals;
        finished_ = false;
        activations_ = 0;
        changed_ = false;
    }

  private:
    /// What the answer to the sync request will mean.
    enum class Stage { globals, windows, following };
    enum class Reading { nothing, ready };

    struct Window {
        HandleRef handle;
        std::string applicationId;
        bool isActivated = false;
        /// Rises with each activation: with several seats, the latest counts.
        std::uint64_t activation = 0;
    };

    void askForSync() {
        sync_.reset(wl_display_sync(display_.get()));
        wl_callback_add_listener(sync_.get(), &syncListener, this);
    }

    /// Takes in what has come, at most one buffer full, and tells the listener. Nothing is told or closed
    /// while the library is inside its own dispatching.
    void dispatch(Reading reading) {
        wl_display* display = display_.get();
        bool alive = wl_display_dispatch_pending(display) >= 0;
        if (alive && reading == Reading::ready && wl_display_prepare_read(display) == 0) {
            alive = wl_display_read_events(display) == 0 && wl_display_dispatch_pending(display) >= 0;
        }
        if (alive && wl_display_flush(display) < 0 && errno != EAGAIN) {
            alive = false;
        }
        if (!alive || finished_) {
            fail(Failure::unreachable);
        } else if (sync_ == nullptr && stage_ != Stage::following) {
            nextStage();
        } else if (changed_ && stage_ == Stage::following) {
            tellActiveWindow();
        }
    }

    void nextStage() {
        if (stage_ == Stage::globals && manager_ == nullptr) {
            fail(Failure::notOffered);
        } else if (stage_ == Stage::globals) {
            stage_ = Stage::windows;
            askForSync();
            wl_display_flush(display_.get());
        } else {
            stage_ = Stage::following;
            listener_->sourceReady();
            tellActiveWindow();
        }
    }

    void fail(Failure failure) {
        loop_->unwatch(wl_display_get_fd(display_.get()));
        watched_ = false;
        listener_->sourceFailed(failure);
    }

    void tellActiveWindow() {
        changed_ = false;
        const Window* active = nullptr;
        for (const auto& [handle, window] : windows_) {
            if (window.isActivated && (active == nullptr || window.activation > active->activation)) {
                active = &window;
            }
        }
        listener_->windowInFront(active == nullptr || active->applicationId.empty()
                                     ? std::nullopt
                                     : std::optional(WindowIdentity{active->applicationId, {}, {}, {}}));
    }

    void addWindow(Handle* handle) {
        HandleRef owned(handle);
        if (windows_.size() < mostWindows) {
            zwlr_foreign_toplevel_handle_v1_add_listener(handle, &handleListener, this);
            windows_[handle].handle = std::move(owned);
        }
    }

    Window* find(Handle* handle) {
        const auto found = windows_.find(handle);
        return found == windows_.end() ? nullptr : &found->second;
    }

    void setState(Handle* handle, const wl_array& states) {
        const auto* begin = static_cast<const std::uint32_t*>(states.data);
        const auto* end = begin + states.size / sizeof *begin;
        const bool isActivated =
            std::find(begin, end, ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED) != end;
        Window* window = find(handle);
        if (window != nullptr && window->isActivated != isActivated) {
            window->isActivated = isActivated;
            window->activation = ++activations_;
            changed_ = true;
        }
    }

    void setApplicationId(Handle* handle, std::string_view id) {
        Window* window = find(handle);
        if (window != nullptr && id.size() <= longestWindowText && window->applicationId != id) {
            window->applicationId = id;
            changed_ = changed_ || window->isActivated;
        }
    }

    void removeWindow(Handle* handle) {
        const Window* window = find(handle);
        changed_ = changed_ || (window != nullptr && window->isActivated);
        windows_.erase(handle);
    }

    static WaylandFrontmost& self(void* data) { return *static_cast<WaylandFrontmost*>(data); }

    static const wl_registry_listener registryListener;
    static const wl_callback_listener syncListener;
    static const zwlr_foreign_toplevel_manager_v1_listener managerListener;
    static const zwlr_foreign_toplevel_handle_v1_listener handleListener;

    const Places& places_;
    EpollRunLoop* loop_ = nullptr;
    Listener* listener_ = nullptr;
    DisplayRef display_;
    RegistryRef registry_;
    ManagerRef manager_;
    CallbackRef sync_;
    std::map<Handle*, Window> windows_;
    bool watched_ = false;
    Stage stage_ = Stage::globals;
    /// The compositor ended the list of windows.
    bool finished_ = false;
    /// Whether another window may be active than was told.
    bool changed_ = false;
    std::uint64_t activations_ = 0;
};

const wl_registry_listener WaylandFrontmost::registryListener = {
    .global =
        [](void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
            auto& source = self(data);
            if (source.manager_ == nullptr &&
                std::string_view(interface) == zwlr_foreign_toplevel_manager_v1_interface.name) {
                // The first version has all that is needed here.
                source.manager_.reset(static_cast<Manager*>(
                    wl_registry_bind(registry, name, &zwlr_foreign_toplevel_manager_v1_interface, 1)));
                zwlr_foreign_toplevel_manager_v1_add_listener(source.manager_.get(), &managerListener, data);
            }
        },
    .global_remove = [](void*, wl_registry*, std::uint32_t) {},
};

const wl_callback_listener WaylandFrontmost::syncListener = {
    .done = [](void* data, wl_callback*, std::uint32_t) { self(data).sync_.reset(); },
};

const zwlr_foreign_toplevel_manager_v1_listener WaylandFrontmost::managerListener = {
    .toplevel = [](void* data, Manager*, Handle* handle) { self(data).addWindow(handle); },
    .finished = [](void* data, Manager*) { self(data).finished_ = true; },
};

const zwlr_foreign_toplevel_handle_v1_listener WaylandFrontmost::handleListener = {
    .title = [](void*, Handle*, const char*) {},
    .app_id = [](void* data, Handle* handle, const char* id) { self(data).setApplicationId(handle, id); },
    .output_enter = [](void*, Handle*, wl_output*) {},
    .output_leave = [](void*, Handle*, wl_output*) {},
    .state = [](void* data, Handle* handle, wl_array* states) { self(data).setState(handle, *states); },
    // What the events of one round tell is looked at after the round, never in between.
    .done = [](void*, Handle*) {},
    .closed = [](void* data, Handle* handle) { self(data).removeWindow(handle); },
    .parent = [](void*, Handle*, Handle*) {},
};

} // namespace

std::unique_ptr<FrontmostSource> makeWaylandFrontmost(const Places& places) {
    return std::make_unique<WaylandFrontmost>(places);
}

} // namespace keysong
