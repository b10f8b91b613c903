#include "Linux/Input/X11Source.h"

#include "Linux/Input/DeviceOrigin.h"
#include "Linux/Input/InputTranslator.h"
#include "Linux/Input/X11Connection.h"
#include "Linux/System/EpollRunLoop.h"
#include "Shared/Log.h"

#include <linux/input-event-codes.h>

#include <bitset>
#include <map>
#include <utility>

namespace keysong {

namespace {

namespace fs = std::filesystem;

/// X key codes are the kernel's, moved by eight.
constexpr std::uint32_t keycodeOffset = 8;
constexpr std::size_t keycodes = 256;

class X11Tap final : public InputTap {
  public:
    X11Tap(std::string display, fs::path inputClass, EventMask mask, RawEventHandler handler)
        : display_(std::move(display)), inputClass_(std::move(inputClass)), mask_(mask),
          handler_(std::move(handler)), translator_([this](const RawEvent& event) {
              if ((mask_ & maskOf(event.type)) != 0) {
                  handler_(event);
              }
          }) {}

    /// Connects; answers why it could not, or nothing.
    std::string_view open() {
        auto opened = X11Connection::open(display_);
        connection_ = std::move(opened.connection);
        if (connection_ == nullptr) {
            return opened.refusal;
        }
        devices_.clear();
        for (const std::uint16_t device : connection_->devices()) {
            learn(device);
        }
        // Last: events that came in with an answer would lie read already and wake no one.
        connection_->selectInput();
        if (connection_->isLost()) {
            connection_.reset();
            return "its server went away";
        }
        return {};
    }

    [[nodiscard]] std::unique_ptr<RunLoop> makeRunLoop() override {
        auto loop = EpollRunLoop::make();
        loop_ = loop.get();
        if (loop == nullptr || !watch()) {
            return nullptr;
        }
        // Whatever is pressed from now on is heard; what was read along with the answer must be fetched.
        connection_->settle();
        loop->addTimer(std::chrono::nanoseconds(1), std::chrono::nanoseconds(0), [this] { dispatch(); });
        return loop;
    }

    void enable() override {
        if (connection_ == nullptr && loop_ != nullptr && open().empty() && !watch()) {
            connection_.reset();
        }
    }

    [[nodiscard]] bool isEnabled() const override { return connection_ != nullptr; }

  private:
    struct Device {
        std::int64_t sourceState = hardwareSourceState;
        std::bitset<keycodes> held;
    };

    [[nodiscard]] bool watch() {
        return loop_->watch(connection_->descriptor(), [this] { dispatch(); });
    }

    void dispatch() {
        if (connection_ == nullptr) {
            return; // lost and told already
        }
        connection_->read([this](const X11Event& event) { handle(event); });
        if (connection_->isLost()) {
            loop_->unwatch(connection_->descriptor());
            connection_.reset();
            translator_.reset();
            RawEvent notice;
            notice.type = RawEventType::tapDisabledByUserInput;
            handler_(notice); // which may enable this tap again
        }
    }

    void handle(const X11Event& event) {
        switch (event.kind) {
        case X11Event::Kind::deviceGone:
            forget(event.device);
            break;
        case X11Event::Kind::deviceChanged:
            forget(event.device);
            learn(event.device);
            break;
        case X11Event::Kind::keyPressed:
        case X11Event::Kind::keyReleased:
            key(event.device, event.detail, event.kind == X11Event::Kind::keyPressed);
            break;
        case X11Event::Kind::buttonPressed:
        case X11Event::Kind::buttonReleased:
            button(event.device, event.detail, event.kind == X11Event::Kind::buttonPressed);
            break;
        }
    }

    Device& learn(std::uint16_t id) {
        const X11Device description = connection_->describe(id);
        const bool software =
            description.injector || originOfNode(description.node) == DeviceOrigin::software;
        Device& device = devices_[id];
        device.sourceState = software ? softwareSourceState : hardwareSourceState;
        return device;
    }

    void forget(std::uint16_t id) {
        translator_.remove(id);
        devices_.erase(id);
    }

    Device& deviceOf(std::uint16_t id) {
        const auto found = devices_.find(id);
        return found != devices_.end() ? found->second : learn(id);
    }

    [[nodiscard]] DeviceOrigin originOfNode(const std::string& node) const {
        std::error_code error;
        const fs::path name = fs::weakly_canonical(node, error).filename();
        if (error || !name.string().starts_with("event")) {
            return DeviceOrigin::hardware; // not one device of the kernel's
        }
        return originOfDevice(fs::canonical(inputClass_ / name, error).string(), "/dev/input" / name);
    }

    void key(std::uint16_t id, std::uint32_t keycode, bool pressed) {
        if (keycode < keycodeOffset || keycode >= keycodes) {
            return;
        }
        Device& device = deviceOf(id);
        const bool repeats = pressed && device.held.test(keycode);
        device.held.set(keycode, pressed);
        translator_.key(id, device.sourceState, static_cast<std::uint16_t>(keycode - keycodeOffset),
                        repeats ? 2 : static_cast<std::int32_t>(pressed));
    }

    void button(std::uint16_t id, std::uint32_t number, bool pressed) {
        constexpr double notch = 120;
        const std::int64_t state = deviceOf(id).sourceState;
        switch (number) {
        case 1:
            translator_.button(state, BTN_LEFT, pressed);
            break;
        case 3:
            translator_.button(state, BTN_RIGHT, pressed);
            break;
        case 4: // a notch up, a notch down: told by the press
        case 5:
            if (pressed) {
                translator_.wheel(id, state, number == 4 ? -notch : notch);
            }
            break;
        case 6: // sideways
        case 7:
            break;
        default:
            translator_.button(state, BTN_MIDDLE, pressed);
            break;
        }
    }

    const std::string display_;
    const fs::path inputClass_;
    const EventMask mask_;
    const RawEventHandler handler_;
    InputTranslator translator_;
    std::unique_ptr<X11Connection> connection_;
    EpollRunLoop* loop_ = nullptr;
    std::map<std::uint16_t, Device> devices_;
};

} // namespace

X11Source::X11Source(std::string display, std::filesystem::path inputClass)
    : display_(std::move(display)), inputClass_(std::move(inputClass)) {
}

bool X11Source::hasAccess() const {
    return X11Connection::open(display_).connection != nullptr;
}

std::unique_ptr<InputTap> X11Source::createTap(EventMask mask, RawEventHandler handler) {
    auto tap = std::make_unique<X11Tap>(display_, inputClass_, mask, std::move(handler));
    if (const std::string_view refusal = tap->open(); !refusal.empty()) {
        log.notice("no input from an X display: %{public}s", refusal);
        return nullptr;
    }
    return tap;
}

} // namespace keysong
