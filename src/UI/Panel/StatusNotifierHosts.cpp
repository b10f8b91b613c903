#include "UI/Panel/StatusNotifierHosts.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <functional>

namespace keysong {

namespace {

constexpr const char* watcherService = "org.kde.StatusNotifierWatcher";
constexpr const char* watcherPath = "/StatusNotifierWatcher";

/// Sends a call that starts no service, and gives the answer, or an error, to `answered` later.
void ask(const QDBusConnection& bus, QDBusMessage call, QObject& context,
         const std::function<void(const QDBusPendingCall&)>& answered) {
    call.setAutoStartService(false);
    auto* const pending = new QDBusPendingCallWatcher(bus.asyncCall(call), &context);
    QObject::connect(pending, &QDBusPendingCallWatcher::finished, &context, [pending, answered] {
        pending->deleteLater();
        answered(*pending);
    });
}

} // namespace

StatusNotifierHosts::StatusNotifierHosts() {
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return;
    }
    watch_ = new QDBusServiceWatcher(watcherService, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(
        watch_, &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString&, const QString&, const QString& owner) { watcherChanged(!owner.isEmpty()); });
    for (const char* const change : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"}) {
        bus.connect(watcherService, watcherPath, watcherService, change, this, SLOT(askForHosts()));
    }
    askForWatcher();
}

StatusNotifierHosts::~StatusNotifierHosts() = default;

void StatusNotifierHosts::askForWatcher() {
    auto call = QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                               "org.freedesktop.DBus", "NameHasOwner");
    call << watcherService;
    ask(watch_->connection(), call, *this, [this](const QDBusPendingCall& answer) {
        const QDBusPendingReply<bool> isOwned = answer;
        // Otherwise what was told meanwhile is newer.
        if (isOwned.isValid() && isOwned.value() && !hasWatcher_) {
            watcherChanged(true);
        }
    });
}

void StatusNotifierHosts::watcherChanged(bool isThere) {
    hasWatcher_ = isThere;
    setHasHost(false);
    if (isThere) {
        askForHosts();
    }
}

void StatusNotifierHosts::askForHosts() {
    auto call =
        QDBusMessage::createMethodCall(watcherService, watcherPath, "org.freedesktop.DBus.Properties", "Get");
    call << watcherService << "IsStatusNotifierHostRegistered";
    ask(watch_->connection(), call, *this, [this](const QDBusPendingCall& answer) {
        const QDBusPendingReply<QDBusVariant> isRegistered = answer;
        setHasHost(hasWatcher_ && isRegistered.isValid() && isRegistered.value().variant().toBool());
    });
}

void StatusNotifierHosts::setHasHost(bool hasHost) {
    if (hasHost != hasHost_) {
        hasHost_ = hasHost;
        emit changed();
    }
}

} // namespace keysong
