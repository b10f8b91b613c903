#pragma once

#include "Platform/InputSource.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>
#include <vector>

namespace keysong::test {

/// An input source whose events and timers the test lets happen, on the tap's own thread.
class FakeInputSource final : public InputSource {
  public:
    bool trusted = true;
    bool revoked = false;
    bool refusesTap = false;
    bool refusesRunLoop = false;
    bool refusesTimer = false;
    /// What the newest tap answers to `isEnabled`, and whether `enable` helps.
    std::atomic<bool> enabled = true;
    std::atomic<bool> canEnable = true;
    /// Called on the service thread while a tap is enabled. Set before `start`.
    std::function<void()> whileEnabling;
    int tapsCreated = 0;
    EventMask mask = 0;

    [[nodiscard]] bool hasAccess() const override { return trusted; }
    [[nodiscard]] bool isRevoked() const override { return revoked; }

    [[nodiscard]] std::unique_ptr<InputTap> createTap(EventMask eventMask, RawEventHandler handler) override {
        if (refusesTap || !trusted) {
            return nullptr;
        }
        ++tapsCreated;
        mask = eventMask;
        handler_ = std::move(handler);
        return std::make_unique<Tap>(*this);
    }

    /// Delivers an event on the service thread and returns when it was handled.
    void deliver(const RawEvent& event) {
        onServiceThread([this, event] { handler_(event); });
    }

    /// Lets time pass: the tap's timer fires on the service thread if it is due by then.
    void pass(std::chrono::nanoseconds time) {
        untilTimer_ -= time;
        if (timer_ && untilTimer_ <= std::chrono::nanoseconds(0)) {
            untilTimer_ = timerInterval_;
            onServiceThread([this] { timer_(); });
        }
    }

  private:
    class Loop final : public RunLoop {
      public:
        explicit Loop(FakeInputSource& source) : source_(source) {}

        bool addTimer(std::chrono::nanoseconds delay, std::chrono::nanoseconds interval,
                      std::function<void()> handler) override {
            if (source_.refusesTimer) {
                return false;
            }
            source_.untilTimer_ = delay;
            source_.timerInterval_ = interval;
            source_.timer_ = std::move(handler);
            return true;
        }
        void run() override {
            std::unique_lock lock(source_.mutex_);
            while (!source_.stopped_) {
                if (!source_.work_.empty()) {
                    const auto work = std::move(source_.work_.front());
                    source_.work_.pop();
                    lock.unlock();
                    work();
                    lock.lock();
                    ++source_.done_;
                    source_.changed_.notify_all();
                    continue;
                }
                source_.changed_.wait(lock);
            }
        }
        void stop() noexcept override {
            const std::lock_guard lock(source_.mutex_);
            source_.stopped_ = true;
            source_.changed_.notify_all();
        }

      private:
        FakeInputSource& source_;
    };

    class Tap final : public InputTap {
      public:
        explicit Tap(FakeInputSource& source) : source_(source) {}

        [[nodiscard]] std::unique_ptr<RunLoop> makeRunLoop() override {
            return source_.refusesRunLoop ? nullptr : std::make_unique<Loop>(source_);
        }
        void enable() override {
            if (source_.whileEnabling) {
                source_.whileEnabling();
            }
            source_.enabled = source_.enabled || source_.canEnable;
        }
        [[nodiscard]] bool isEnabled() const override { return source_.enabled; }

      private:
        FakeInputSource& source_;
    };

    void onServiceThread(std::function<void()> work) {
        std::unique_lock lock(mutex_);
        const int target = done_ + 1;
        work_.push(std::move(work));
        changed_.notify_all();
        changed_.wait(lock, [&] { return done_ >= target; });
    }

    RawEventHandler handler_;
    std::function<void()> timer_;
    std::chrono::nanoseconds untilTimer_{0};
    std::chrono::nanoseconds timerInterval_{0};
    std::mutex mutex_;
    std::condition_variable changed_;
    std::queue<std::function<void()>> work_;
    int done_ = 0;
    bool stopped_ = false;
};

} // namespace keysong::test
