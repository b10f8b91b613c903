#include "PlayProbe.h"

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "World.h"

namespace keysong::bench {

namespace {

using std::chrono::nanoseconds;

constexpr std::chrono::milliseconds freshInterval{500};

/// One stream with a connection of its own.
class Stream {
  public:
    explicit Stream(std::atomic<std::int64_t>& played) : played_(played) {
        pw_init(nullptr, nullptr);
        loop_ = pw_thread_loop_new("probe", nullptr);
        context_ = pw_context_new(pw_thread_loop_get_loop(loop_),
                                  pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr), 0);
        core_ = context_ == nullptr ? nullptr : pw_context_connect(context_, nullptr, 0);
        if (core_ == nullptr) {
            failed_ = true;
            return;
        }
        static constexpr pw_core_events coreEvents = [] {
            pw_core_events table{};
            table.version = PW_VERSION_CORE_EVENTS;
            table.error = [](void* self, std::uint32_t, int, int, const char*) {
                static_cast<Stream*>(self)->failed_ = true;
            };
            return table;
        }();
        static constexpr pw_stream_events streamEvents = [] {
            pw_stream_events table{};
            table.version = PW_VERSION_STREAM_EVENTS;
            table.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
                auto* stream = static_cast<Stream*>(self);
                stream->failed_ = stream->failed_ || state == PW_STREAM_STATE_ERROR;
            };
            table.process = [](void* self) { static_cast<Stream*>(self)->process(); };
            return table;
        }();
        pw_core_add_listener(core_, &coreListener_, &coreEvents, this);
        stream_ = pw_stream_new(core_, "probe",
                                pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY,
                                                  "Playback", PW_KEY_NODE_NAME, "probe", nullptr));
        pw_stream_add_listener(stream_, &streamListener_, &streamEvents, this);
        std::array<std::uint8_t, 1024> storage{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, storage.data(), storage.size());
        spa_audio_info_raw format{};
        format.format = SPA_AUDIO_FORMAT_F32;
        format.rate = 48000;
        format.channels = channels;
        const spa_pod* parameter = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format);
        const auto flags = static_cast<pw_stream_flags>(
            PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS);
        failed_ = pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, &parameter, 1) < 0 ||
                  pw_thread_loop_start(loop_) < 0;
    }
    ~Stream() {
        pw_thread_loop_stop(loop_);
        if (stream_ != nullptr) {
            pw_stream_destroy(stream_);
        }
        if (core_ != nullptr) {
            spa_hook_remove(&coreListener_);
            pw_core_disconnect(core_);
        }
        if (context_ != nullptr) {
            pw_context_destroy(context_);
        }
        pw_thread_loop_destroy(loop_);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    [[nodiscard]] bool hasFailed() const { return failed_; }
    [[nodiscard]] nanoseconds age() const { return now() - begin_; }

  private:
    static constexpr std::uint32_t channels = 2;

    void process() {
        std::int64_t never = 0;
        played_.compare_exchange_strong(never, now().count());
        if (pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_)) {
            spa_data& data = buffer->buffer->datas[0];
            const std::uint32_t size = std::min<std::uint32_t>(data.maxsize, 1024);
            std::memset(data.data, 0, size);
            data.chunk->offset = 0;
            data.chunk->stride = channels * sizeof(float);
            data.chunk->size = size;
            pw_stream_queue_buffer(stream_, buffer);
        }
    }

    std::atomic<std::int64_t>& played_;
    const nanoseconds begin_ = now();
    std::atomic<bool> failed_ = false;
    pw_thread_loop* loop_ = nullptr;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_stream* stream_ = nullptr;
    spa_hook coreListener_{};
    spa_hook streamListener_{};
};

} // namespace

std::optional<nanoseconds> waitUntilPlayable(std::chrono::milliseconds limit) {
    const nanoseconds end = now() + limit;
    std::atomic<std::int64_t> played = 0;
    std::vector<std::unique_ptr<Stream>> streams;
    while (played == 0 && now() < end) {
        std::erase_if(streams, [](const auto& stream) { return stream->hasFailed(); });
        if (streams.empty() || streams.back()->age() > freshInterval) {
            streams.push_back(std::make_unique<Stream>(played));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    streams.clear();
    return played == 0 ? std::nullopt : std::optional(nanoseconds(played));
}

} // namespace keysong::bench
