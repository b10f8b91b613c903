#pragma once

#include <pipewire/pipewire.h>
#include <spa/node/io.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace keysong::bench {

/// Hears what a sink of the PipeWire server plays: the times on the monotonic clock at which sounds begin.
///
/// A time is that of the sink's own cycle, to the sample: what the sink adds on the way to the air is not in
/// it. `take` may be called on any thread.
class MonitorListener {
  public:
    /// Frames quieter than this, as a share of full scale, are silence.
    static constexpr float threshold = 0.0005F;
    /// A sound begins where this long a silence ends.
    static constexpr std::chrono::milliseconds silence{8};

    /// Connects to the server of the environment and listens to a sink by its node name. Throws
    /// std::runtime_error.
    explicit MonitorListener(const std::string& sink);
    ~MonitorListener();
    MonitorListener(const MonitorListener&) = delete;
    MonitorListener& operator=(const MonitorListener&) = delete;

    /// Whether cycles arrive.
    [[nodiscard]] bool listens() const { return cycles_ > 0; }
    /// The begins of sounds since the last call, in their order.
    [[nodiscard]] std::vector<std::chrono::nanoseconds> take();

  private:
    struct DestroyLoop {
        void operator()(pw_thread_loop* loop) const { pw_thread_loop_destroy(loop); }
    };

    void process();

    std::unique_ptr<pw_thread_loop, DestroyLoop> loop_;
    pw_stream* stream_ = nullptr;
    const spa_io_position* position_ = nullptr;
    std::atomic<std::int64_t> cycles_ = 0;
    std::int64_t silentFrames_ = 0;
    std::mutex mutex_;
    std::vector<std::chrono::nanoseconds> begins_;
};

} // namespace keysong::bench
