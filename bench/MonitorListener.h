#pragma once

#include <pipewire/filter.h>
#include <pipewire/pipewire.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Span.h"

namespace keysong::bench {

/// Hears what a sink of the PipeWire server plays: the times on the monotonic clock at which sounds begin.
///
/// It makes its own links to the sink's monitor, so it needs no session manager, and it is back within some
/// milliseconds when the server or the sink comes back. While it listens, the sink does not sleep.
///
/// A time is that of the sink's own cycle, to the sample: what the sink adds on the way to the air is not in
/// it. Every function may be called on any thread.
class MonitorListener {
  public:
    /// Frames quieter than this, as a share of full scale, are silence.
    static constexpr float threshold = 0.0005F;
    /// A sound begins where this long a silence ends.
    static constexpr std::chrono::milliseconds silence{8};

    /// Listens to a sink by its node name, on the server of the environment, which need not be there yet.
    /// Throws std::runtime_error when the client library fails.
    explicit MonitorListener(std::string sink);
    ~MonitorListener();
    MonitorListener(const MonitorListener&) = delete;
    MonitorListener& operator=(const MonitorListener&) = delete;

    /// Whether cycles of the sink arrive now.
    [[nodiscard]] bool listens() const;
    /// The begins of sounds since the last call, in their order.
    [[nodiscard]] std::vector<std::chrono::nanoseconds> take();

    /// The spans of time of which nothing was heard since the sink's cycles did not arrive, in their order.
    [[nodiscard]] std::vector<Span> gaps() const;

  private:
    static constexpr std::size_t channels = 2;

    struct Port {
        std::uint32_t node = 0;
        bool isMonitor = false;
        bool isInput = false;
    };
    struct Link {
        std::uint32_t from = PW_ID_ANY;
        std::uint32_t to = PW_ID_ANY;
        pw_proxy* proxy = nullptr;
    };

    void connect();
    void disconnect();
    void onTimer();
    void onGlobal(std::uint32_t id, const char* type, const spa_dict* properties);
    void onGlobalRemoved(std::uint32_t id);
    /// Links what is there and not linked, and lets go of what is gone.
    void link();
    void release(Link& link);
    void retryIn(std::chrono::milliseconds delay);
    /// On the data thread.
    void process(const spa_io_position& position);
    void hear(std::int64_t start, std::size_t frames, const std::array<const float*, channels>& samples);

    const std::string sink_;
    pw_thread_loop* loop_ = nullptr;
    pw_context* context_ = nullptr;
    spa_source* timer_ = nullptr;

    // The loop's thread.
    pw_core* core_ = nullptr;
    pw_registry* registry_ = nullptr;
    pw_filter* filter_ = nullptr;
    spa_hook coreListener_{};
    spa_hook registryListener_{};
    spa_hook filterListener_{};
    bool lost_ = false;
    std::uint32_t sinkNode_ = PW_ID_ANY;
    std::map<std::uint32_t, Port> portsThere_;
    std::array<Link, channels> links_;

    // The data thread.
    std::array<void*, channels> ports_{};
    std::int64_t silentFrames_ = 0;
    std::int64_t expected_ = 0;

    std::atomic<std::int64_t> lastCycle_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::chrono::nanoseconds> begins_;
    std::vector<Span> gaps_;
};

} // namespace keysong::bench
