#include "Linux/Listener/LibinputDevices.h"

#include "Linux/Input/KeyboardNodes.h"
#include "Linux/Input/LibinputTap.h"
#include "Linux/Input/PointerChoices.h"
#include "Shared/Log.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

namespace keysong::listener {

namespace {

/// Devices that were taken without notice are found again within this time.
constexpr std::chrono::seconds restInterval{5};
constexpr EventMask everything = ~EventMask{0};

class ReadDevices final : public OpenDevices {
  public:
    ReadDevices(const std::string& seat, RawEventHandler handler, std::function<void()> rest)
        : handler_(std::move(handler)), rest_(std::move(rest)),
          tap_(
              everything, [this](const RawEvent& event) { handle(event); }, choices_, seat) {}
    ~ReadDevices() override {
        if (thread_.joinable()) {
            ends_ = true; // what the devices let go of is no event
            loop_->stop();
            thread_.join();
        }
    }
    ReadDevices(const ReadDevices&) = delete;
    ReadDevices& operator=(const ReadDevices&) = delete;

    [[nodiscard]] bool start(Threads& threads) {
        if (!tap_.open()) {
            return false;
        }
        loop_ = tap_.makeRunLoop();
        if (loop_ == nullptr || !loop_->addTimer(restInterval, restInterval, [this] { rest(); })) {
            return false;
        }
        thread_ = threads.start({"com.orlen.keysong.listener", "listener", ThreadPriority::userInteractive},
                                [this] { loop_->run(); });
        return true;
    }

  private:
    void handle(const RawEvent& event) {
        if (event.type == RawEventType::tapDisabledByUserInput) {
            tap_.enable();
        } else if (!ends_) {
            handler_(event);
        }
    }
    void rest() {
        if (!tap_.isEnabled()) {
            tap_.enable();
        }
        rest_();
    }

    const RawEventHandler handler_;
    const std::function<void()> rest_;
    std::atomic<bool> ends_ = false;
    /// A desktop's settings are its user's; here every pointer keeps the library's defaults, with taps.
    PointerChoices choices_;
    LibinputTap tap_;
    std::unique_ptr<RunLoop> loop_;
    std::thread thread_;
};

} // namespace

std::unique_ptr<OpenDevices> LibinputDevices::open(const std::string& seat, RawEventHandler handler,
                                                   std::function<void()> rest) {
    auto devices = std::make_unique<ReadDevices>(seat, std::move(handler), std::move(rest));
    try {
        if (devices->start(threads_)) {
            return devices;
        }
    } catch (const std::system_error& error) {
        log.error("no thread to read devices: %{public}s", std::string_view(error.what()));
        return nullptr;
    }
    log.error("the devices of seat %{public}s cannot be opened", seat);
    return nullptr;
}

std::size_t LibinputDevices::keyboards() const {
    return static_cast<std::size_t>(std::ranges::count_if(eventNodes(), [](const std::string& node) {
        return hasLetterKeys(node) && nodeStateOf(node).readable;
    }));
}

} // namespace keysong::listener
