#include "App/ResidentLink.h"

#include "App/WindowsMessages.h"

#include <utility>

namespace keysong {

ResidentLink::ResidentLink(std::unique_ptr<MessageChannel> channel, HeldKeys& keys)
    : channel_(std::move(channel)), keys_(keys), notifier_(channel_->descriptor(), QSocketNotifier::Read) {
    connect(&notifier_, &QSocketNotifier::activated, this, &ResidentLink::serve);
    connect(&keys_, &HeldKeys::watchingChanged, this,
            [this] { channel_->send(encoded(WatchKeys{keys_.isWatching()})); });
}

void ResidentLink::tellShown(WindowKind window) {
    channel_->send(encoded(WindowShown{window}));
}

void ResidentLink::serve() {
    const auto bytes = channel_->receive();
    if (!bytes) {
        if (channel_->isClosed()) {
            notifier_.setEnabled(false);
            emit closed();
        }
        return;
    }
    const auto message = decodedToWindows(*bytes);
    if (!message) {
        notifier_.setEnabled(false);
        emit notUnderstood();
    } else if (const auto* keys = std::get_if<KeysHeld>(&*message)) {
        keys_.setDown(keys->down);
    } else if (const auto* panel = std::get_if<PanelState>(&*message)) {
        emit panelChanged(*panel);
    } else if (const auto* count = std::get_if<KeysCounted>(&*message)) {
        emit keysCounted(count->total);
    } else {
        emit asked(std::get<ShowWindow>(*message));
    }
}

} // namespace keysong
