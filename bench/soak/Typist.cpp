#include "Typist.h"

#include <linux/input-event-codes.h>

#include <array>
#include <exception>

#include "World.h"

namespace keysong::bench {

namespace {

/// Between two events; in the middle 33 ms. A sound and the silence after it need 15 ms.
constexpr std::uint64_t leastGapMicroseconds = 26'000;
constexpr std::uint64_t mostGapMicroseconds = 40'600;
constexpr std::chrono::milliseconds leastAfterStall{25};
constexpr std::array keys{KEY_F13, KEY_F14, KEY_F15,       KEY_F16,
                          KEY_F17, KEY_F18, KEY_LEFTSHIFT, KEY_RIGHTSHIFT};

} // namespace

Typist::Typist(const std::string& display, std::uint64_t seed)
    : client_(display), random_(seed), thread_([this] { run(); }) {
}

Typist::~Typist() {
    ending_ = true;
    thread_.join();
}

void Typist::run() {
    bool isDown = false;
    int key = keys[0];
    auto next = std::chrono::steady_clock::now();
    try {
        while (!ending_ || isDown) {
            next += std::chrono::microseconds(leastGapMicroseconds +
                                              random_() % (mostGapMicroseconds - leastGapMicroseconds));
            // After a stall of the machine it goes on from now; it never catches up in a burst.
            next = std::max(next, std::chrono::steady_clock::now() + leastAfterStall);
            std::this_thread::sleep_until(next);
            if (resting_ && !isDown) {
                continue;
            }
            if (!isDown) {
                key = keys[random_() % keys.size()];
            }
            isDown = !isDown;
            Typed event;
            event.before = now();
            client_.key(keyboard_, key, isDown);
            event.after = now();
            const std::lock_guard lock(mutex_);
            typed_.push_back(event);
        }
    } catch (const std::exception&) {
        well_ = false;
    }
}

std::vector<Typed> Typist::typed() const {
    const std::lock_guard lock(mutex_);
    return typed_;
}

} // namespace keysong::bench
