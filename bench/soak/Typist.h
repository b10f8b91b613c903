#pragma once

#include "support/XTestClient.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Records.h"

namespace keysong::bench {

/// Types at 30 events a second on a display's keyboard, on a thread of its own, from the beginning to the end
/// of its life. The keys do nothing in a window.
class Typist {
  public:
    Typist(const std::string& display, std::uint64_t seed);
    ~Typist();
    Typist(const Typist&) = delete;
    Typist& operator=(const Typist&) = delete;

    /// Rests after the release of the key that is down, or types on. Any thread.
    void rest(bool resting) { resting_ = resting; }
    /// What was typed so far. Any thread.
    [[nodiscard]] std::vector<Typed> typed() const;
    /// Whether the display still takes keys. Any thread.
    [[nodiscard]] bool isWell() const { return well_; }

  private:
    void run();

    const keysong::test::XTestClient client_;
    const keysong::test::XTestClient::DeviceId keyboard_ = client_.deviceNamed("Xvfb keyboard");
    std::mt19937_64 random_;
    std::atomic<bool> resting_ = false;
    std::atomic<bool> ending_ = false;
    std::atomic<bool> well_ = true;
    mutable std::mutex mutex_;
    std::vector<Typed> typed_;
    std::thread thread_; // last: it uses all of the above
};

} // namespace keysong::bench
