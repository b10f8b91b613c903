#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace keysong::test {

/// Polls until the condition holds; false when the limit passed.
[[nodiscard]] inline bool eventually(const std::function<bool()>& condition,
                                     std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

} // namespace keysong::test
