#include "MonitorListener.h"

#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace keysong::bench {

MonitorListener::MonitorListener(const std::string& sink) {
    pw_init(nullptr, nullptr);
    loop_.reset(pw_thread_loop_new("monitor", nullptr));
    static constexpr pw_stream_events events = [] {
        pw_stream_events table{};
        table.version = PW_VERSION_STREAM_EVENTS;
        table.io_changed = [](void* data, std::uint32_t id, void* area, std::uint32_t) {
            if (id == SPA_IO_Position) {
                static_cast<MonitorListener*>(data)->position_ = static_cast<spa_io_position*>(area);
            }
        };
        table.process = [](void* data) { static_cast<MonitorListener*>(data)->process(); };
        return table;
    }();
    pw_properties* const properties = pw_properties_new(
        PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_TARGET_OBJECT, sink.c_str(),
        PW_KEY_STREAM_CAPTURE_SINK, "true", PW_KEY_NODE_LATENCY, "128/48000", nullptr);
    stream_ =
        pw_stream_new_simple(pw_thread_loop_get_loop(loop_.get()), "monitor", properties, &events, this);
    std::array<std::uint8_t, 1024> buffer{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer.data(), buffer.size());
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32;
    format.rate = 48000;
    format.channels = 2;
    const spa_pod* parameter = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format);
    const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                    PW_STREAM_FLAG_RT_PROCESS);
    if (stream_ == nullptr ||
        pw_stream_connect(stream_, PW_DIRECTION_INPUT, PW_ID_ANY, flags, &parameter, 1) < 0 ||
        pw_thread_loop_start(loop_.get()) < 0) {
        throw std::runtime_error("the sink cannot be listened to");
    }
}

MonitorListener::~MonitorListener() {
    pw_thread_loop_stop(loop_.get());
    pw_stream_destroy(stream_);
}

void MonitorListener::process() {
    pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_);
    if (buffer == nullptr) {
        return;
    }
    const spa_data& data = buffer->buffer->datas[0];
    const auto* const frames =
        reinterpret_cast<const float*>(static_cast<const char*>(data.data) + data.chunk->offset);
    const std::size_t count = data.chunk->size / (2 * sizeof(float));
    const std::int64_t rate = 48000;
    if (position_ != nullptr) {
        // The monitor is one cycle behind the sink.
        const std::int64_t start =
            static_cast<std::int64_t>(position_->clock.nsec) -
            static_cast<std::int64_t>(position_->clock.duration) * 1'000'000'000 / rate;
        for (std::size_t i = 0; i < count; ++i) {
            if (std::max(std::abs(frames[2 * i]), std::abs(frames[2 * i + 1])) <= threshold) {
                ++silentFrames_;
                continue;
            }
            if (silentFrames_ >= silence.count() * rate / 1000) {
                const std::lock_guard lock(mutex_);
                begins_.emplace_back(start + static_cast<std::int64_t>(i) * 1'000'000'000 / rate);
            }
            silentFrames_ = 0;
        }
    }
    ++cycles_;
    pw_stream_queue_buffer(stream_, buffer);
}

std::vector<std::chrono::nanoseconds> MonitorListener::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(begins_, {});
}

} // namespace keysong::bench
