#include "Linux/Frontmost/AtspiFrontmost.h"

#include "Linux/Frontmost/ProcessProgram.h"
#include "Linux/System/BusConnection.h"

#include <array>
#include <string_view>

namespace keysong {

namespace {

constexpr const char* accessibilityService = "org.a11y.Bus";
constexpr const char* registryName = "org.a11y.atspi.Registry";

class AtspiFrontmost final : public FrontmostSource {
  public:
    ~AtspiFrontmost() override { close(); }

    [[nodiscard]] const char* name() const noexcept override { return "AT-SPI"; }

    void open(EpollRunLoop& loop, Listener& listener) override {
        loop_ = &loop;
        listener_ = &listener;
        session_ = BusConnection::open(loop, {}, [this] { listener_->sourceFailed(Failure::notOffered); });
        if (session_ == nullptr) {
            listener.sourceFailed(Failure::notOffered);
            return;
        }
        askStatus("IsEnabled", on<&AtspiFrontmost::handleEnabled>);
    }

    void close() noexcept override {
        question_.reset();
        signals_ = {};
        accessibility_.reset();
        session_.reset();
        active_ = {};
        inFront_ = {};
    }

  private:
    /// One window on the bus.
    struct Sender {
        std::string name;
        std::string path;
        friend bool operator==(const Sender&, const Sender&) = default;
    };

    void askStatus(const char* property, sd_bus_message_handler_t handler) {
        BusMessage call = session_->makeCall(accessibilityService, "/org/a11y/bus",
                                             "org.freedesktop.DBus.Properties", "Get");
        if (call != nullptr) {
            sd_bus_message_append(call.get(), "ss", "org.a11y.Status", property);
        }
        question_ = session_->send(std::move(call), handler, this);
    }

    void giveUp() { listener_->sourceFailed(Failure::notOffered); }

    void handleEnabled(sd_bus_message* reply) {
        if (!followWhenOn(reply)) {
            askStatus("ScreenReaderEnabled", on<&AtspiFrontmost::handleScreenReader>);
        }
    }

    void handleScreenReader(sd_bus_message* reply) {
        if (!followWhenOn(reply)) {
            giveUp();
        }
    }

    bool followWhenOn(sd_bus_message* reply) {
        int isOn = 0;
        if (sd_bus_message_is_method_error(reply, nullptr) != 0 ||
            sd_bus_message_read(reply, "v", "b", &isOn) < 0 || isOn == 0) {
            return false;
        }
        question_ = session_->send(
            session_->makeCall(accessibilityService, "/org/a11y/bus", accessibilityService, "GetAddress"),
            on<&AtspiFrontmost::handleAddress>, this);
        return true;
    }

    void handleAddress(sd_bus_message* reply) {
        const char* address = nullptr;
        if (sd_bus_message_is_method_error(reply, nullptr) != 0 ||
            sd_bus_message_read(reply, "s", &address) < 0 || *address == '\0') {
            giveUp();
            return;
        }
        accessibility_ =
            BusConnection::open(*loop_, address, [this] { listener_->sourceFailed(Failure::unreachable); });
        if (accessibility_ == nullptr) {
            giveUp();
            return;
        }
        const std::string windows = "type='signal',interface='org.a11y.atspi.Event.Window',member=";
        signals_[0] =
            accessibility_->match(windows + "'Activate'", on<&AtspiFrontmost::handleActivate>, this);
        signals_[1] =
            accessibility_->match(windows + "'Deactivate'", on<&AtspiFrontmost::handleDeactivate>, this);
        signals_[2] = accessibility_->match("type='signal',sender='org.freedesktop.DBus',"
                                            "interface='org.freedesktop.DBus',member='NameOwnerChanged'",
                                            on<&AtspiFrontmost::handleNameOwner>, this);
        registerEvent("window:deactivate", on<&AtspiFrontmost::handleFirstRegistered>);
    }

    /// Applications send only what somebody has registered for; the registry forgets this with the
    /// connection.
    void registerEvent(const char* event, sd_bus_message_handler_t handler) {
        BusMessage call =
            accessibility_->makeCall(registryName, "/org/a11y/atspi/registry", registryName, "RegisterEvent");
        if (call != nullptr) {
            sd_bus_message_append(call.get(), "s", event);
            // Accessibility is on, and the registry belongs to it; the first who needs it starts it.
            sd_bus_message_set_auto_start(call.get(), 1);
        }
        question_ = accessibility_->send(std::move(call), handler, this);
    }

    void handleFirstRegistered(sd_bus_message*) {
        registerEvent("window:activate", on<&AtspiFrontmost::handleRegistered>);
    }

    void handleRegistered(sd_bus_message* reply) {
        if (sd_bus_message_is_method_error(reply, nullptr) != 0) {
            giveUp();
        } else {
            question_.reset();
            listener_->sourceReady();
        }
    }

    static Sender senderOf(sd_bus_message* message) {
        const char* name = sd_bus_message_get_sender(message);
        const char* path = sd_bus_message_get_path(message);
        return {name == nullptr ? "" : name, path == nullptr ? "" : path};
    }

    void handleActivate(sd_bus_message* message) {
        active_ = senderOf(message);
        inFront_ = {};
        // The question about the window before is dropped with its answer.
        question_ = accessibility_->askBus("GetConnectionUnixProcessID", active_.name.c_str(),
                                           on<&AtspiFrontmost::handleProcess>, this);
    }

    void handleProcess(sd_bus_message* reply) {
        std::uint32_t process = 0;
        if (sd_bus_message_is_method_error(reply, nullptr) == 0 &&
            sd_bus_message_read(reply, "u", &process) >= 0) {
            inFront_.executable = programOfProcess(process);
        }
        BusMessage call = accessibility_->makeCall(active_.name.c_str(), "/org/a11y/atspi/accessible/root",
                                                   "org.freedesktop.DBus.Properties", "Get");
        if (call != nullptr) {
            sd_bus_message_append(call.get(), "ss", "org.a11y.atspi.Accessible", "Name");
        }
        question_ = accessibility_->send(std::move(call), on<&AtspiFrontmost::handleName>, this);
    }

    void handleName(sd_bus_message* reply) {
        const char* name = nullptr;
        if (sd_bus_message_is_method_error(reply, nullptr) == 0 &&
            sd_bus_message_read(reply, "v", "s", &name) >= 0 &&
            std::string_view(name).size() <= longestWindowText) {
            inFront_.windowClass = name;
        }
        listener_->windowInFront(inFront_);
    }

    void handleDeactivate(sd_bus_message* message) {
        if (active_ == senderOf(message)) {
            leaveActive();
        }
    }

    void leaveActive() {
        active_ = {};
        question_.reset();
        listener_->windowInFront(std::nullopt);
    }

    void handleNameOwner(sd_bus_message* message) {
        const char* name = nullptr;
        const char* before = nullptr;
        const char* after = nullptr;
        if (sd_bus_message_read(message, "sss", &name, &before, &after) < 0 || *after != '\0') {
            return;
        }
        if (active_.name == name) {
            leaveActive();
        } else if (std::string_view(name) == registryName) {
            listener_->sourceFailed(Failure::unreachable);
        }
    }

    template <auto member>
    static constexpr sd_bus_message_handler_t on = &BusHandler<member>::call;

    EpollRunLoop* loop_ = nullptr;
    Listener* listener_ = nullptr;
    std::unique_ptr<BusConnection> session_;
    std::unique_ptr<BusConnection> accessibility_;
    std::array<BusSlot, 3> signals_;
    /// The one question that is asked at a time.
    BusSlot question_;
    Sender active_;
    WindowIdentity inFront_;
};

} // namespace

std::unique_ptr<FrontmostSource> makeAtspiFrontmost() {
    return std::make_unique<AtspiFrontmost>();
}

} // namespace keysong
