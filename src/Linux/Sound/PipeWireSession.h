#pragma once

#include "Linux/System/FileDescriptor.h"
#include "Platform/AudioOutput.h"

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>
#include <spa/param/audio/raw.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace keysong {

/// Frees a PipeWire object when its owner goes.
template <auto Free>
struct PipeWireDeleter {
    template <typename Object>
    void operator()(Object* object) const noexcept {
        Free(object);
    }
};

/// Holds the lock of a PipeWire loop for a scope; recursive, so that callbacks may use it too.
class PipeWireLock {
  public:
    explicit PipeWireLock(pw_thread_loop* loop) : loop_(loop) { pw_thread_loop_lock(loop_); }
    ~PipeWireLock() { pw_thread_loop_unlock(loop_); }
    PipeWireLock(const PipeWireLock&) = delete;
    PipeWireLock& operator=(const PipeWireLock&) = delete;

  private:
    pw_thread_loop* loop_;
};

/// The format of our streams: two front speakers, floats, each side apart.
[[nodiscard]] inline spa_audio_info_raw frontPair() noexcept {
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32P;
    format.rate = 48000;
    format.channels = 2;
    format.position[0] = SPA_AUDIO_CHANNEL_FL;
    format.position[1] = SPA_AUDIO_CHANNEL_FR;
    return format;
}

/// A connection to the sound server that comes back by itself, and what the server's registry says of
/// devices, links and the default. The loop's thread "pw-keysong" serves it.
///
/// Everything but construction and destruction needs the loop's lock (`PipeWireLock`).
class PipeWireSession {
  public:
    struct Node {
        std::string name;
        std::string description;
        std::string mediaClass;
        AudioDeviceId serial = 0;

        [[nodiscard]] bool isSink() const {
            return mediaClass == "Audio/Sink" || mediaClass == "Audio/Duplex";
        }
        [[nodiscard]] bool isSource() const {
            return mediaClass.starts_with("Audio/Source") || mediaClass == "Audio/Duplex";
        }
        [[nodiscard]] bool isDevice() const { return isSink() || isSource(); }
    };
    struct Link {
        std::uint32_t outputNode = 0;
        std::uint32_t inputNode = 0;
    };
    /// The name of the node of the program's own stream.
    static constexpr const char* ownStreamName = "keysong";
    struct Port {
        std::uint32_t node = 0;
        bool isInput = false;
        /// It gives what the node plays, instead of taking it.
        bool isMonitor = false;
        /// "FL" and so on.
        std::string channel;
    };
    enum class Change { connected, disconnected, devices, manager, defaultDevice, links };
    /// Called on the loop's thread with its lock held.
    using ChangeHandler = std::function<void(Change)>;

    /// How a server is looked for that has been away for a while.
    enum class Search {
        /// When something appears where its socket should, and every few seconds.
        steady,
        /// When something appears there alone, so that the thread sleeps; steadily if nothing tells of that.
        still,
    };

    /// Makes the loop, not yet running. Throws `AudioOutputError` when the client library fails.
    explicit PipeWireSession(ChangeHandler onChange, Search search = Search::steady);
    ~PipeWireSession();
    PipeWireSession(const PipeWireSession&) = delete;
    PipeWireSession& operator=(const PipeWireSession&) = delete;

    /// Starts the loop and tries to reach a server once; further tries follow until one answers, and again
    /// whenever it is lost: every 100 ms at first, then when its socket appears. Call once, without the lock.
    void start();

    [[nodiscard]] pw_thread_loop* loop() const { return loop_.get(); }
    [[nodiscard]] pw_context* context() const { return context_.get(); }
    /// Null while no server answers.
    [[nodiscard]] pw_core* core() const { return core_.get(); }
    /// Null while no server answers.
    [[nodiscard]] pw_registry* registry() const { return registry_; }
    /// Whether the registry has been read.
    [[nodiscard]] bool isReady() const { return ready_; }
    /// Whether a session manager is there to link streams to devices.
    [[nodiscard]] bool hasManager() const { return metadata_ != nullptr; }
    /// Waits at most this long until the registry has been read; true when it has.
    bool waitUntilReady(std::chrono::milliseconds limit);

    [[nodiscard]] const std::map<std::uint32_t, Node>& nodes() const { return nodes_; }
    [[nodiscard]] const std::map<std::uint32_t, Link>& links() const { return links_; }
    /// Whether the node is one of the program's own streams, which `nodes` leaves out.
    [[nodiscard]] bool isOwnStream(std::uint32_t node) const { return ownStreams_.contains(node); }
    [[nodiscard]] const std::map<std::uint32_t, Port>& ports() const { return ports_; }
    /// The node name of the default sink; empty while unknown.
    [[nodiscard]] const std::string& defaultSink() const { return defaultSink_; }

    /// Lets a timer of the loop go off at a time of the monotonic clock, or not at all.
    void setTimer(spa_source* timer, std::optional<std::chrono::nanoseconds> time);

    /// Points one of our streams at a sink by its node name; with an empty name it belongs wherever the
    /// session manager's default is.
    void setTarget(std::uint32_t streamNode, const std::string& sinkName);

  private:
    static const pw_core_events coreEvents;
    static const pw_registry_events registryEvents;
    static const pw_metadata_events metadataEvents;

    bool tryConnect();
    void disconnect();
    void bindMetadata();
    /// Gives the binding up, not what is known.
    void unbindMetadata();
    void releaseMetadata();
    /// Asks again after a while.
    void waitForMetadata();
    /// Binds again where nothing has been said.
    void askMetadataAgain();
    void watchSocket();
    void onSocketFolder() noexcept;
    void retryIn(std::chrono::milliseconds delay);
    void retryLater();
    void onTimer();
    void onDone(int sequence);
    void changed(Change change);
    void onGlobal(std::uint32_t id, const char* type, const spa_dict* properties);
    void onGlobalRemoved(std::uint32_t id);
    int onMetadata(std::uint32_t subject, const char* key, const char* value);

    ChangeHandler onChange_;
    const Search search_;
    std::unique_ptr<pw_thread_loop, PipeWireDeleter<pw_thread_loop_destroy>> loop_;
    std::unique_ptr<pw_context, PipeWireDeleter<pw_context_destroy>> context_;
    std::unique_ptr<pw_core, PipeWireDeleter<pw_core_disconnect>> core_;
    spa_source* timer_ = nullptr;
    /// Tells of what appears in the folder of the server's socket.
    FileDescriptor socketFolder_;
    spa_source* socketSource_ = nullptr;
    int quickRetriesLeft_ = 0;
    pw_registry* registry_ = nullptr;
    pw_metadata* metadata_ = nullptr;
    /// The metadata's registry id, to see it go with its session manager.
    std::uint32_t metadataId_ = PW_ID_ANY;
    /// Whether it has said anything since it was bound.
    bool metadataSpeaks_ = false;
    spa_source* metadataTimer_ = nullptr;
    std::chrono::milliseconds metadataPatience_{};
    spa_hook coreListener_{};
    spa_hook registryListener_{};
    spa_hook metadataListener_{};
    /// The registry is whole when two round trips are done: the second brings what the metadata says.
    int pendingSync_ = -1;
    int syncsLeft_ = 0;
    bool ready_ = false;
    bool lost_ = false;
    std::map<std::uint32_t, Node> nodes_;
    std::map<std::uint32_t, Link> links_;
    std::set<std::uint32_t> ownStreams_;
    std::map<std::uint32_t, Port> ports_;
    std::string defaultSink_;
};

} // namespace keysong
