// How the PipeWire output looks after its running stream: rest, xruns, and links that nobody made.
#include "Linux/Sound/PipeWireOutput.h"
#include "Shared/Log.h"

#include <algorithm>

namespace keysong {

namespace {

/// How long a session manager gets to link the stream, which takes it some hundredths of a second.
constexpr std::chrono::milliseconds linkPatience{500};
/// Longer than any period. After a change of the session manager the server is known to answer.
constexpr std::chrono::milliseconds motionLimit{300};

} // namespace

void PipeWireOutput::setResting(bool resting) noexcept {
    restWished_ = resting;
    if (!resting) {
        timeline_.expectPeriod();
    }
    pw_loop_signal_event(pw_thread_loop_get_loop(session_->loop()), restSource_);
}

void PipeWireOutput::rest() {
    const bool resting = restWished_;
    if (!running_ || resting == isAtRest_) {
        return;
    }
    isAtRest_ = resting;
    if (!resting) {
        timeline_.noteRest();
        if (!wasLinked_) {
            checkLater(); // the session manager was another meanwhile
        }
    }
    pw_stream_set_active(stream_, !resting);
}

std::string PipeWireOutput::latency() const {
    // The server rounds down to a power of two frames of its own rate: by the lowest usual rate it is this
    // size at 44.1 and 48 kHz, and about this time at higher ones.
    return std::to_string(periodLength_.frames()) + "/44100";
}

void PipeWireOutput::answerXruns() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    bool longer = false;
    for (const std::uint64_t all = timeline_.xruns(); answeredXruns_ < all; ++answeredXruns_) {
        longer = periodLength_.noteXrun(now) || longer;
    }
    if (longer) {
        applyPeriodLength();
    }
}

void PipeWireOutput::shortenIfCalm() {
    if (periodLength_.noteCalm(std::chrono::steady_clock::now().time_since_epoch())) {
        applyPeriodLength();
    } else {
        session_->setTimer(calmTimer_, periodLength_.nextCalm());
    }
}

void PipeWireOutput::applyPeriodLength() {
    requestedFrames_ = periodLength_.frames();
    log.notice("the output came too late %{public}u times in all, periods of %{public}u frames from now on",
               timeline_.xruns(), periodLength_.frames());
    if (stream_ != nullptr) {
        const std::string value = latency();
        const spa_dict_item item{PW_KEY_NODE_LATENCY, value.c_str()};
        const spa_dict changed{0, 1, &item};
        pw_stream_update_properties(stream_, &changed);
    }
    session_->setTimer(calmTimer_, periodLength_.nextCalm());
}

void PipeWireOutput::loseStream(const char* reason) {
    streamError_ = reason;
    if (running_.exchange(false)) {
        reportChange();
    }
}

void PipeWireOutput::checkLater() {
    if (stream_ != nullptr) {
        session_->setTimer(checkTimer_, std::chrono::steady_clock::now().time_since_epoch() + linkPatience);
    }
}

void PipeWireOutput::checkAfterChange() {
    if (hasNewManager_ || ownLinks_.exist()) {
        checkLater();
    }
}

void PipeWireOutput::checkStream() {
    const auto sink = targetNode();
    if (stream_ == nullptr || isAtRest_ || readinessNow() != Readiness::ready || !sink) {
        return; // whatever changes that asks for another look
    }
    const bool moves = running_ && timeline_.isMoving(motionLimit);
    hasNewManager_ = hasNewManager_ && !moves;
    const std::uint32_t stream = pw_stream_get_node_id(stream_);
    const bool isManagers = wasLinked_ && !ownLinks_.exist();
    if (!isManagers && !ownLinks_.lead(stream, *sink)) {
        const bool isNews = !ownLinks_.exist();
        if (ownLinks_.make(*session_, stream, *sink) && isNews) {
            log.notice("the session manager leaves the sound without a device, so it is linked here");
        }
        checkLater();
    } else if (running_ && !moves && hasNewManager_) {
        log.notice("the sound stands still since the session manager is another, starting it again");
        loseStream("it stands still");
    }
}

void PipeWireOutput::yieldToManager() {
    if (!ownLinks_.exist() || stream_ == nullptr) {
        return;
    }
    const std::uint32_t own = pw_stream_get_node_id(stream_);
    const auto& links = session_->links();
    if (std::any_of(links.begin(), links.end(), [&](const auto& link) {
            return link.second.outputNode == own && !ownLinks_.contain(link.first);
        })) {
        ownLinks_.release();
    }
}

std::optional<std::uint32_t> PipeWireOutput::targetNode() const {
    const auto& nodes = session_->nodes();
    const std::string& name = pinned_.empty() ? session_->defaultSink() : pinned_;
    for (const auto& [id, candidate] : nodes) {
        if (candidate.isSink() && candidate.name == name) {
            return id;
        }
    }
    // A new session manager may not know the default yet.
    return lastLinked_ && nodes.contains(*lastLinked_) ? lastLinked_ : std::nullopt;
}

} // namespace keysong
