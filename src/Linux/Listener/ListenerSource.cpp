#include "Linux/Listener/ListenerSource.h"

#include "Linux/Listener/HeldInput.h"
#include "Shared/Log.h"

#include <unistd.h>

#include <atomic>
#include <system_error>
#include <utility>

namespace keysong::listener {

namespace {

/// A tap's run loop, which holds its connection. It lives as long as it is served.
class ListenerLoop final : public RunLoop {
  public:
    /// `isConnected` outlives the loop.
    ListenerLoop(std::unique_ptr<EpollRunLoop> loop, const std::string& path, EventMask mask,
                 const RawEventHandler& handler, std::atomic<bool>& isConnected)
        : loop_(std::move(loop)), mask_(mask), handler_(handler), isConnected_(isConnected),
          link_(*loop_, path, ListenerLink::Wish::events,
                {[this](const Report& report) { received(report); }, [this] { lost(); }}) {}

    bool addTimer(std::chrono::nanoseconds first, std::chrono::nanoseconds interval,
                  std::function<void()> handler) override {
        return loop_->addTimer(first, interval, std::move(handler));
    }
    void run() override { loop_->run(); }
    void stop() noexcept override { loop_->stop(); }

  private:
    void received(const Report& report) {
        if (const auto* event = std::get_if<RawEvent>(&report)) {
            deliver(*event);
        } else if (const auto* state = std::get_if<State>(&report)) {
            isConnected_ = true;
            // Told where it matters only, so that nothing is said of when a person is there.
            if (std::exchange(phase_, state->phase) == State::Phase::listening &&
                state->phase != State::Phase::listening) {
                release();
            }
        } else if (const auto* missed = std::get_if<Lost>(&report)) {
            log.error("%{public}u input events were lost: Keysong was too slow", missed->count);
            release();
        } else if (const auto* rival = std::get_if<Rival>(&report)) {
            log.notice(
                "%{public}s (process %{public}u of user %{public}u) wanted to hear the keyboards, too, and "
                "was refused",
                rival->process.name, rival->process.id, rival->process.user);
        }
    }

    void deliver(const RawEvent& event) {
        if (event.type == RawEventType::pointerMotion) {
            handler_(event);
        } else if ((mask_ & maskOf(event.type)) != 0) {
            held_.note(event);
            handler_(event);
        }
    }

    void lost() {
        phase_ = State::Phase::idle;
        if (isConnected_.exchange(false)) {
            log.error("the listener service has gone; connecting again");
        }
        release();
    }

    void release() { held_.releaseAll(handler_); }

    const std::unique_ptr<EpollRunLoop> loop_;
    const EventMask mask_;
    const RawEventHandler& handler_;
    std::atomic<bool>& isConnected_;
    HeldInput held_;
    State::Phase phase_ = State::Phase::idle;
    ListenerLink link_;
};

class ListenerTap final : public InputTap {
  public:
    ListenerTap(std::string path, EventMask mask, RawEventHandler handler)
        : path_(std::move(path)), mask_(mask), handler_(std::move(handler)) {}

    [[nodiscard]] std::unique_ptr<RunLoop> makeRunLoop() override {
        auto loop = EpollRunLoop::make();
        if (loop == nullptr) {
            return nullptr;
        }
        try {
            return std::make_unique<ListenerLoop>(std::move(loop), path_, mask_, handler_, isConnected_);
        } catch (const std::system_error&) {
            return nullptr; // no timer to be had
        }
    }
    /// The connection comes back by itself, and the service sees to the devices.
    void enable() override {}
    [[nodiscard]] bool isEnabled() const override { return isConnected_; }

  private:
    const std::string path_;
    const EventMask mask_;
    const RawEventHandler handler_;
    /// Until the first attempt it counts as connected.
    std::atomic<bool> isConnected_ = true;
};

} // namespace

ListenerSource::ListenerSource(Threads& threads, std::string path)
    : threads_(threads), path_(std::move(path)) {
    const MutexLock lock(mutex_);
    watchIfThere();
}

ListenerSource::~ListenerSource() {
    std::unique_ptr<Watch> watch;
    {
        const MutexLock lock(mutex_);
        watch = std::move(watch_);
    }
    if (watch != nullptr) {
        watch->thread.ask([&watch] { watch->link.reset(); });
    }
}

void ListenerSource::watchIfThere() const {
    if (watch_ != nullptr || access(path_.c_str(), W_OK) != 0) {
        return;
    }
    try {
        watch_ = std::make_unique<Watch>(threads_);
    } catch (const std::system_error&) {
        return; // no thread: as if there were no service
    }
    deadline_ = std::chrono::steady_clock::now() + patience;
    watch_->thread.async([this, &watch = *watch_] {
        watch.link.emplace(watch.thread.loop(), path_, ListenerLink::Wish::state,
                           ListenerLink::Handlers{[this](const Report& report) {
                                                      if (const auto* state = std::get_if<State>(&report)) {
                                                          keep(*state);
                                                      }
                                                  },
                                                  [this] { keep(std::nullopt); }});
    });
}

void ListenerSource::keep(std::optional<State> state) const {
    const MutexLock lock(mutex_);
    state_ = std::move(state);
    hasAnswer_ = true;
    answered_.notify_all();
}

bool ListenerSource::hasAccess() const {
    const MutexLock lock(mutex_);
    watchIfThere();
    if (watch_ == nullptr) {
        return false;
    }
    while (!hasAnswer_ && std::chrono::steady_clock::now() < deadline_) {
        answered_.wait_until(mutex_, deadline_);
    }
    const bool isHeld =
        state_ && state_->holder.id != 0 && state_->holder.id != static_cast<std::uint32_t>(getpid());
    return state_ && state_->isGranted && state_->phase != State::Phase::noSession && !isHeld;
}

bool ListenerSource::isRevoked() const {
    const MutexLock lock(mutex_);
    return hasTap_ && state_ && !state_->isGranted;
}

std::unique_ptr<InputTap> ListenerSource::createTap(EventMask mask, RawEventHandler handler) {
    if (!hasAccess()) {
        return nullptr;
    }
    const MutexLock lock(mutex_);
    hasTap_ = true;
    return std::make_unique<ListenerTap>(path_, mask, std::move(handler));
}

} // namespace keysong::listener
