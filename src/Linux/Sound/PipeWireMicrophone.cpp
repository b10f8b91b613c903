#include "Linux/Sound/PipeWireMicrophone.h"

#include "Shared/Log.h"

#include <algorithm>
#include <utility>

namespace keysong {

PipeWireMicrophone::PipeWireMicrophone(TaskQueue& mainQueue) : mainQueue_(mainQueue) {
}

PipeWireMicrophone::~PipeWireMicrophone() {
    changed_ = nullptr;
    setWatching(false);
}

void PipeWireMicrophone::setChangeHandler(std::function<void()> handler) {
    changed_ = std::move(handler);
}

void PipeWireMicrophone::setWatching(bool watching) {
    if (watching == (session_ != nullptr)) {
        return;
    }
    // The session's thread ends first: it reads all of this.
    session_.reset();
    watched_ = nullptr;
    watch_.reset();
    if (!watching) {
        setInUse(false);
        return;
    }
    watch_ = std::make_shared<const int>(0);
    told_ = false;
    try {
        session_ = std::make_unique<PipeWireSession>([this](PipeWireSession::Change) { look(); });
        watched_ = session_.get();
        session_->start();
    } catch (const AudioOutputError& error) {
        log.error("the microphone cannot be watched: %{public}s", error.what());
        session_.reset();
        watched_ = nullptr;
    }
}

void PipeWireMicrophone::look() {
    const auto& nodes = watched_->nodes();
    const auto& links = watched_->links();
    const bool captured =
        watched_->isReady() && std::any_of(links.begin(), links.end(), [&](const auto& link) {
            const auto from = nodes.find(link.second.outputNode);
            return from != nodes.end() && from->second.isSource();
        });
    if (std::exchange(told_, captured) != captured) {
        mainQueue_.async([this, watch = std::weak_ptr(watch_), captured] {
            if (!watch.expired()) {
                setInUse(captured);
            }
        });
    }
}

void PipeWireMicrophone::setInUse(bool inUse) {
    if (std::exchange(inUse_, inUse) != inUse && changed_) {
        changed_();
    }
}

} // namespace keysong
