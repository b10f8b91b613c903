#include "Linux/Sound/PipeWireOutput.h"

#include "Shared/Log.h"

#include <spa/param/audio/format-utils.h>
#include <spa/utils/result.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <thread>

namespace keysong {

namespace {

constexpr std::chrono::seconds startLimit{3};
/// How long a start waits for the first period, which tells the granted size.
constexpr std::chrono::milliseconds firstPeriodLimit{300};
constexpr std::uint32_t mostFrames = 8192;
constexpr std::uint32_t channels = 2;

} // namespace

// The callbacks that are left out are null, as the library wants it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
const pw_stream_events PipeWireOutput::streamEvents = {
    .version = PW_VERSION_STREAM_EVENTS,
    .state_changed =
        [](void* self, pw_stream_state, pw_stream_state state, const char* error) noexcept {
            static_cast<PipeWireOutput*>(self)->onStreamState(state, error);
        },
    .io_changed =
        [](void* self, std::uint32_t id, void* area, std::uint32_t) noexcept {
            if (id == SPA_IO_Position) {
                static_cast<PipeWireOutput*>(self)->timeline_.setPosition(
                    static_cast<spa_io_position*>(area));
            }
        },
    .process = [](void* self) noexcept { static_cast<PipeWireOutput*>(self)->process(); }};

#pragma GCC diagnostic pop

PipeWireOutput::PipeWireOutput(Threads& threads)
    : threads_(threads), session_(std::make_unique<PipeWireSession>(
                             [this](PipeWireSession::Change change) { onSessionChange(change); })) {
    pw_loop* const loop = pw_thread_loop_get_loop(session_->loop());
    restSource_ = pw_loop_add_event(
        loop, [](void* self, std::uint64_t) noexcept { static_cast<PipeWireOutput*>(self)->rest(); }, this);
    xrunSource_ = pw_loop_add_event(
        loop, [](void* self, std::uint64_t) noexcept { static_cast<PipeWireOutput*>(self)->answerXruns(); },
        this);
    calmTimer_ = pw_loop_add_timer(
        loop, [](void* self, std::uint64_t) noexcept { static_cast<PipeWireOutput*>(self)->shortenIfCalm(); },
        this);
    checkTimer_ = pw_loop_add_timer(
        loop, [](void* self, std::uint64_t) noexcept { static_cast<PipeWireOutput*>(self)->checkStream(); },
        this);
    if (restSource_ == nullptr || xrunSource_ == nullptr || calmTimer_ == nullptr || checkTimer_ == nullptr) {
        throw AudioOutputError("the sound server's loop could not be made");
    }
    session_->start();
}

PipeWireOutput::~PipeWireOutput() {
    {
        const PipeWireLock lock(session_->loop());
        configurationChanged_ = nullptr;
        destroyStream();
    }
}

bool PipeWireOutput::waitUntilReady(std::chrono::milliseconds limit) {
    const PipeWireLock lock(session_->loop());
    timespec deadline{};
    pw_thread_loop_get_time(session_->loop(), &deadline, std::chrono::nanoseconds(limit).count());
    while (session_->core() != nullptr && readinessNow() != Readiness::ready) {
        if (pw_thread_loop_timed_wait_full(session_->loop(), &deadline) < 0) {
            break;
        }
    }
    return readinessNow() == Readiness::ready;
}

std::int32_t PipeWireOutput::requestBufferFrames(std::uint32_t frames) {
    if (frames == 0 || frames > mostFrames) {
        return EINVAL;
    }
    const PipeWireLock lock(session_->loop());
    periodLength_.request(frames);
    requestedFrames_ = frames;
    return 0;
}

std::optional<std::uint32_t> PipeWireOutput::bufferFrames() const {
    const std::uint32_t granted = timeline_.grantedFrames();
    return granted != 0 ? granted : requestedFrames_.load();
}

void PipeWireOutput::start() {
    const PipeWireLock lock(session_->loop());
    if (running_) {
        return;
    }
    destroyStream();
    if (!session_->waitUntilReady(startLimit)) {
        throw AudioOutputError("no sound server answers");
    }
    if (readinessNow() != Readiness::ready) {
        throw AudioOutputError(session_->hasManager() ? "the sound server has no output device"
                                                      : "the sound server has no session manager");
    }
    createStream();
    waitForStream();
    timeline_.expectPeriod();
    running_ = true;
    raiseRenderThread();
}

Readiness PipeWireOutput::readiness() const {
    const PipeWireLock lock(session_->loop());
    return readinessNow();
}

Readiness PipeWireOutput::readinessNow() const {
    if (!session_->isReady()) {
        return Readiness::absent;
    }
    const auto& nodes = session_->nodes();
    const bool playable =
        session_->hasManager() &&
        std::any_of(nodes.begin(), nodes.end(), [](const auto& e) { return e.second.isSink(); });
    return playable ? Readiness::ready : Readiness::preparing;
}

void PipeWireOutput::createStream() {
    stream_ = pw_stream_new(
        session_->core(), "Keysong",
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback", PW_KEY_NODE_NAME,
                          PipeWireSession::ownStreamName, PW_KEY_NODE_DESCRIPTION, "Keysong", PW_KEY_APP_NAME,
                          "Keysong", PW_KEY_APP_ID, "com.orlen.keysong", PW_KEY_NODE_LATENCY,
                          latency().c_str(), PW_KEY_APP_ICON_NAME, "com.orlen.keysong",
                          // Of more speakers than two only the front ones click.
                          "channelmix.upmix", "false", pinned_.empty() ? nullptr : PW_KEY_TARGET_OBJECT,
                          pinned_.c_str(), nullptr));
    if (stream_ == nullptr) {
        throw AudioOutputError("the sound server refused a stream");
    }
    streamListener_ = {};
    streamState_ = PW_STREAM_STATE_UNCONNECTED;
    streamError_.clear();
    lastLinked_.reset();
    // The session manager brings a stream back to where it was moved last; that stands unless it is pinned
    // here.
    isPointed_ = isPointed_ && pinned_.empty();
    isAtRest_ = false;
    timeline_.reset();
    pw_stream_add_listener(stream_, &streamListener_, &streamEvents, this);

    std::array<std::uint8_t, 1024> storage{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, storage.data(), storage.size());
    spa_audio_info_raw format = frontPair();
    const spa_pod* parameter = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format);
    const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                    PW_STREAM_FLAG_RT_PROCESS);
    const int result = pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, &parameter, 1);
    if (result < 0) {
        destroyStream();
        throw AudioOutputError(std::string("the sound server refused the stream: ") + spa_strerror(result));
    }
    hasNewManager_ = false;
    wasLinked_ = false;
    checkLater();
}

void PipeWireOutput::waitForStream() {
    timespec deadline{};
    pw_thread_loop_get_time(session_->loop(), &deadline, std::chrono::nanoseconds(startLimit).count());
    while (stream_ != nullptr && streamState_ != PW_STREAM_STATE_STREAMING && streamError_.empty()) {
        if (pw_thread_loop_timed_wait_full(session_->loop(), &deadline) < 0) {
            streamError_ = "it did not start in time";
            break;
        }
    }
    if (stream_ == nullptr || streamState_ != PW_STREAM_STATE_STREAMING) {
        const std::string reason = streamError_;
        destroyStream();
        throw AudioOutputError("the stream did not start: " + reason);
    }
    // The first period tells the granted size; without one soon the requested size stands in for it. A stream
    // that is moved at once is paused meanwhile.
    const auto limit = std::chrono::steady_clock::now() + firstPeriodLimit;
    const auto isThere = [this] { return stream_ != nullptr && streamState_ >= PW_STREAM_STATE_PAUSED; };
    while (isThere() && timeline_.grantedFrames() == 0 && std::chrono::steady_clock::now() < limit) {
        pw_thread_loop_unlock(session_->loop());
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        pw_thread_loop_lock(session_->loop());
    }
    if (!isThere()) {
        destroyStream();
        throw AudioOutputError("the stream was lost while it started");
    }
}

void PipeWireOutput::raiseRenderThread() {
    if (std::exchange(isRaised_, true)) {
        return;
    }
    // Once in the thread's life, which is the context's: the first sounds may come before it.
    const auto raise = [](spa_loop*, bool, std::uint32_t, const void*, std::size_t, void* threads) noexcept {
        static_cast<Threads*>(threads)->raiseThisThread(
            {"com.orlen.keysong.pipewire", "pipewire", ThreadPriority::render});
        return 0;
    };
    pw_data_loop_invoke(pw_context_get_data_loop(session_->context()), raise, 0, nullptr, 0, false,
                        &threads_);
}

void PipeWireOutput::stop() noexcept {
    const PipeWireLock lock(session_->loop());
    destroyStream();
}

void PipeWireOutput::destroyStream() noexcept {
    running_ = false;
    ownLinks_.release();
    if (stream_ != nullptr) {
        pw_stream_disconnect(stream_); // waits for the render thread, which goes through the listeners
        spa_hook_remove(&streamListener_);
        pw_stream_destroy(stream_);
        stream_ = nullptr;
    }
    timeline_.setPosition(nullptr);
}

std::int32_t PipeWireOutput::setDevice(std::optional<AudioDeviceId> device) {
    const PipeWireLock lock(session_->loop());
    const auto target = device ? node(*device) : std::nullopt;
    if (device && (!target || !target->isSink())) {
        return ENODEV;
    }
    pinned_ = target ? target->name : std::string();
    isPointed_ = false;
    if (stream_ != nullptr && streamState_ >= PW_STREAM_STATE_PAUSED) {
        pointStream();
    }
    return 0;
}

void PipeWireOutput::pointStream() {
    if (isPointed_) {
        return; // a stream is paused again whenever somebody moves it, and then belongs where they put it
    }
    session_->setTarget(pw_stream_get_node_id(stream_), pinned_);
    // Until it plays the session manager may put a new stream back to where an earlier one was moved.
    isPointed_ = streamState_ == PW_STREAM_STATE_STREAMING;
}

std::optional<AudioDeviceId> PipeWireOutput::currentDevice() const {
    const PipeWireLock lock(session_->loop());
    if (const auto linked = linkedNode()) {
        const auto found = session_->nodes().find(*linked);
        if (found != session_->nodes().end()) {
            return found->second.serial;
        }
    }
    for (const auto& [id, candidate] : session_->nodes()) {
        if (candidate.isSink() && candidate.name == pinned_) {
            return candidate.serial;
        }
    }
    return defaultOutputDevice();
}

std::optional<std::uint32_t> PipeWireOutput::linkedNode() const {
    if (stream_ == nullptr) {
        return std::nullopt;
    }
    const std::uint32_t own = pw_stream_get_node_id(stream_);
    for (const auto& [id, link] : session_->links()) {
        if (link.outputNode == own) {
            return link.inputNode;
        }
    }
    return std::nullopt;
}

void PipeWireOutput::setConfigurationChangeHandler(std::function<void()> handler) {
    const PipeWireLock lock(session_->loop());
    configurationChanged_ = std::move(handler);
}

void PipeWireOutput::onSessionChange(PipeWireSession::Change change) {
    using Change = PipeWireSession::Change;
    pw_thread_loop_signal(session_->loop(), false);
    switch (change) {
    case Change::disconnected:
        // The listeners are not told: a server that is gone says nothing about what is plugged in.
        destroyStream();
        reportChange();
        break;
    case Change::connected:
        listeners_.tell(DeviceListProperty::devices);
        reportChange();
        break;
    case Change::devices:
        listeners_.tell(DeviceListProperty::devices);
        checkAfterChange();
        // A sink that appears is news to an output that could not start, one that goes to any.
        reportChange();
        break;
    case Change::manager:
        // Without a manager the list says nothing of what is gone.
        listeners_.tell(DeviceListProperty::devices);
        hasNewManager_ = session_->hasManager();
        wasLinked_ = linkedNode().has_value();
        checkLater();
        reportChange();
        break;
    case Change::defaultDevice:
        listeners_.tell(DeviceListProperty::defaultOutputDevice);
        checkAfterChange();
        reportChange();
        break;
    case Change::links:
        yieldToManager();
        wasLinked_ = wasLinked_ || linkedNode();
        checkAfterChange();
        if (const auto linked = linkedNode(); linked && linked != lastLinked_) {
            if (lastLinked_) {
                reportChange();
            }
            lastLinked_ = linked;
        }
        break;
    }
}

void PipeWireOutput::onStreamState(pw_stream_state state, const char* error) {
    streamState_ = state;
    if (state >= PW_STREAM_STATE_PAUSED) {
        pointStream();
    }
    if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED) {
        // Unconnected without our doing: somebody took the node out of the graph.
        loseStream(error == nullptr ? "the stream was taken away" : error);
    }
    pw_thread_loop_signal(session_->loop(), false);
}

void PipeWireOutput::reportChange() {
    if (configurationChanged_) {
        configurationChanged_();
    }
}

void PipeWireOutput::process() noexcept {
    pw_buffer* buffer = pw_stream_dequeue_buffer(stream_);
    if (buffer == nullptr) {
        return;
    }
    spa_data* data = buffer->buffer->datas;
    const auto capacity = data[0].maxsize / sizeof(float);
    const auto wanted = buffer->requested != 0 ? buffer->requested : requestedFrames_.load();
    const auto frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(wanted, capacity));
    if (buffer->buffer->n_datas < channels || data[0].data == nullptr || data[1].data == nullptr) {
        pw_stream_queue_buffer(stream_, buffer);
        return;
    }
    auto* left = static_cast<float*>(data[0].data);
    auto* right = static_cast<float*>(data[1].data);

    const std::uint64_t xruns = timeline_.xruns();
    const IoCycle cycle = timeline_.next(frames);
    if (timeline_.xruns() != xruns) {
        pw_loop_signal_event(pw_thread_loop_get_loop(session_->loop()), xrunSource_);
    }
    if (renderer_ != nullptr && frames > 0) {
        renderer_->render(cycle, left, right);
    } else {
        std::fill_n(left, frames, 0.0F);
        std::fill_n(right, frames, 0.0F);
    }
    for (std::uint32_t i = 0; i < channels; ++i) {
        data[i].chunk->offset = 0;
        data[i].chunk->stride = sizeof(float);
        data[i].chunk->size = frames * static_cast<std::uint32_t>(sizeof(float));
    }
    pw_stream_queue_buffer(stream_, buffer);
}

} // namespace keysong
