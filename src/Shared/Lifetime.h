#pragma once

#include "Shared/Mutex.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace keysong {

/// The lifetime of an object, for calls that may come after its end: tasks that still wait in a queue, and
/// handlers that another thread is about to call.
///
/// A member of the object that the calls refer to. Where they come from other threads, the object calls `end`
/// first in its destructor, or declares this member last. Any thread but the render thread may make guarded
/// calls; several threads may be in such calls at the same time.
class Lifetime {
  public:
    Lifetime() = default;
    ~Lifetime() { end(); }
    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

    /// Wraps a call. The result takes the same arguments and returns the same value; once the lifetime has
    /// ended, it does nothing and returns a default value. It may be copied and may outlive the lifetime.
    template <typename Call>
    [[nodiscard]] auto guarded(Call call) const {
        return [state = state_, call = std::move(call)](auto&&... arguments) {
            using Result = std::invoke_result_t<const Call&, decltype(arguments)...>;
            const Entry entry(state);
            if (entry.isAllowed()) {
                return std::invoke(call, std::forward<decltype(arguments)>(arguments)...);
            }
            return Result();
        };
    }

    /// From now on no guarded call does anything. Waits for those under way on other threads, so the caller
    /// must hold no lock that they need. One that is under way on this thread ends after this function: a
    /// guarded call may end the lifetime.
    void end() { state_->end(); }

  private:
    /// Shared with the wrapped calls.
    class State {
      public:
        [[nodiscard]] bool enter() KEYSONG_EXCLUDES(mutex_);
        void leave() KEYSONG_EXCLUDES(mutex_);
        void end() KEYSONG_EXCLUDES(mutex_);

      private:
        Mutex mutex_;
        std::condition_variable_any left_;
        bool ended_ KEYSONG_GUARDED_BY(mutex_) = false;
        /// The threads of the calls under way, one entry for each call.
        std::vector<std::thread::id> calls_ KEYSONG_GUARDED_BY(mutex_);
    };

    /// One call, from its begin to its end.
    class Entry {
      public:
        explicit Entry(std::shared_ptr<State> state) : state_(std::move(state)), allowed_(state_->enter()) {}
        ~Entry() {
            if (allowed_) {
                state_->leave();
            }
        }
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        [[nodiscard]] bool isAllowed() const noexcept { return allowed_; }

      private:
        const std::shared_ptr<State> state_;
        const bool allowed_;
    };

    const std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace keysong
