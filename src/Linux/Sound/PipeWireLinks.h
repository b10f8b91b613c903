#pragma once

#include "Linux/Sound/PipeWireSession.h"

#include <cstdint>
#include <vector>

namespace keysong {

/// Links of our own from a stream to a sink, for a session manager that makes none. WirePlumber 0.4 links
/// nothing for as long as one device waits to be ready, and after it was restarted a sink in use may wait for
/// ever.
///
/// With the loop's lock of the session; `release` before that is disconnected.
class PipeWireLinks {
  public:
    PipeWireLinks() = default;
    ~PipeWireLinks() { release(); }
    PipeWireLinks(const PipeWireLinks&) = delete;
    PipeWireLinks& operator=(const PipeWireLinks&) = delete;

    /// Links the stream to the sink, both by their registry ids, and to no other: the left side to the front
    /// left speaker and the right one to the front right, or both to the only one. False when that cannot be
    /// done, for want of ports, which are the session manager's part.
    bool make(PipeWireSession& session, std::uint32_t stream, std::uint32_t sink);
    void release();
    [[nodiscard]] bool exist() const noexcept { return !links_.empty(); }
    /// Whether they were made between these two.
    [[nodiscard]] bool lead(std::uint32_t stream, std::uint32_t sink) const noexcept {
        return exist() && stream == stream_ && sink == sink_;
    }
    /// Whether the link with this registry id is one of these.
    [[nodiscard]] bool contain(std::uint32_t link) const;

  private:
    std::vector<pw_proxy*> links_;
    std::uint32_t stream_ = PW_ID_ANY;
    std::uint32_t sink_ = PW_ID_ANY;
};

} // namespace keysong
