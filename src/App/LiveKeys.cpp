#include "App/LiveKeys.h"

#include <utility>

namespace keysong {

namespace {

using std::chrono::milliseconds;

/// A frame of most displays.
constexpr milliseconds briskInterval{17};
/// Less than a key stays down, so that the first one after a pause lights, too.
constexpr milliseconds calmInterval{50};
constexpr int looksUntilCalm = 120;

} // namespace

LiveKeys::LiveKeys(KeyMonitor& monitor, TaskQueue& mainQueue, Teller tell)
    : monitor_(monitor), mainQueue_(mainQueue), tell_(std::move(tell)) {
}

LiveKeys::~LiveKeys() {
    setWatching(false);
}

void LiveKeys::setWatching(bool isWatching) {
    if (isWatching == (watching_ != nullptr)) {
        return;
    }
    monitor_.setWatching(isWatching);
    if (isWatching) {
        watching_ = std::make_unique<Lifetime>();
        told_.reset();
        look();
    } else {
        watching_.reset();
    }
}

void LiveKeys::look() {
    const auto held = monitor_.snapshot().down;
    ++looksWithoutChange_;
    if (told_ != held) {
        looksWithoutChange_ = 0;
        if (tell_(held)) {
            told_ = held;
        }
    }
    const bool isCalm = looksWithoutChange_ > looksUntilCalm && held == KeyBitmap{};
    mainQueue_.asyncAfter(isCalm ? calmInterval : briskInterval, watching_->guarded([this] { look(); }));
}

} // namespace keysong
