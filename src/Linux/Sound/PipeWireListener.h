#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>

namespace keysong {

/// A node into which sound flows that could be a capture, and what it says of itself.
///
/// On the loop's thread of the connection, or with its lock. Goes before the connection.
class PipeWireListener {
  public:
    /// Asks the server about the node with this registry id. `answered` is called with each answer.
    PipeWireListener(pw_registry* registry, std::uint32_t id, std::function<void()> answered);
    ~PipeWireListener();
    PipeWireListener(const PipeWireListener&) = delete;
    PipeWireListener& operator=(const PipeWireListener&) = delete;

    /// Whether the node keeps the sound for its own application, as far as is known yet. These do not:
    ///
    /// - a device, and a filter: they pass the sound on, and who captures there is seen there. Filters are
    ///   the nodes of the media category "Filter" (effects), and those of a link group (loopbacks, filter
    ///   chains, echo cancellers), whose other half plays what the one half takes;
    /// - a level meter, as mixers show one for every device as long as they are open. It is marked as
    ///   `stream.monitor` and asks for a few values a second only: 25 in all mixers that were looked at. The
    ///   mark alone does not count. Some recorders and visualizers carry it too and take every frame.
    ///
    /// Everything else counts, whether its media class is that of a capture stream or, as with JACK, none.
    [[nodiscard]] bool isCapture() const noexcept { return isCapture_; }

  private:
    static const pw_node_events nodeEvents;

    void onInfo(const pw_node_info* info);

    const std::function<void()> answered_;
    pw_node* node_;
    spa_hook hook_{};
    bool isCapture_ = false;
};

} // namespace keysong
