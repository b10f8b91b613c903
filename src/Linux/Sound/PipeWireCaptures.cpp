#include "Linux/Sound/PipeWireCaptures.h"

#include "Shared/Log.h"

#include <algorithm>
#include <set>
#include <utility>

namespace keysong {

PipeWireCaptures::PipeWireCaptures(TaskQueue& mainQueue) : mainQueue_(mainQueue) {
}

PipeWireCaptures::~PipeWireCaptures() {
    stop();
}

void PipeWireCaptures::watch(std::function<void()> changed) {
    changed_ = std::move(changed);
    if (changed_ && session_ == nullptr) {
        start();
    } else if (!changed_) {
        stop();
        inUse_ = false;
    }
}

void PipeWireCaptures::start() {
    watch_ = std::make_shared<const int>(0);
    told_ = false;
    try {
        session_ = std::make_unique<PipeWireSession>([this](PipeWireSession::Change) { look(); },
                                                     PipeWireSession::Search::still);
        watched_ = session_.get();
        session_->start();
    } catch (const AudioOutputError& error) {
        log.error("captures cannot be watched: %{public}s", error.what());
        stop();
    }
}

void PipeWireCaptures::stop() {
    if (session_ != nullptr) {
        // They go before their connection, and that before what its thread reads.
        const PipeWireLock lock(session_->loop());
        listeners_.clear();
        watched_ = nullptr;
    }
    session_.reset();
    watch_.reset();
}

void PipeWireCaptures::look() {
    if (watched_ == nullptr) {
        return; // the watching ends
    }
    std::set<std::uint32_t> ends;
    if (watched_->isReady()) {
        const auto& devices = watched_->nodes();
        for (const auto& [id, link] : watched_->links()) {
            // What leaves a sink leaves its monitor.
            if ((devices.contains(link.outputNode) || watched_->isOwnStream(link.outputNode)) &&
                !devices.contains(link.inputNode)) {
                ends.insert(link.inputNode);
            }
        }
    }
    std::erase_if(listeners_, [&](const auto& each) { return !ends.contains(each.first); });
    for (const std::uint32_t node : ends) {
        if (!listeners_.contains(node)) {
            listeners_.emplace(
                node, std::make_unique<PipeWireListener>(watched_->registry(), node, [this] { tell(); }));
        }
    }
    tell();
}

void PipeWireCaptures::tell() {
    const bool captured =
        std::ranges::any_of(listeners_, [](const auto& each) { return each.second->isCapture(); });
    if (std::exchange(told_, captured) != captured) {
        mainQueue_.async([this, watch = std::weak_ptr(watch_), captured] {
            if (!watch.expired()) {
                setInUse(captured);
            }
        });
    }
}

void PipeWireCaptures::setInUse(bool inUse) {
    if (std::exchange(inUse_, inUse) != inUse && changed_) {
        changed_();
    }
}

} // namespace keysong
