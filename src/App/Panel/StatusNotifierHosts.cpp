#include "App/Panel/StatusNotifierHosts.h"

#include "Shared/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace keysong {

namespace {

constexpr const char* watcherService = "org.kde.StatusNotifierWatcher";
constexpr const char* watcherPath = "/StatusNotifierWatcher";

} // namespace

StatusNotifierHosts::StatusNotifierHosts(SessionBus& bus) : bus_(bus) {
}

StatusNotifierHosts::~StatusNotifierHosts() = default;

void StatusNotifierHosts::start() {
    QDBusConnection connection = bus_.connection();
    watch_ = std::make_unique<QDBusServiceWatcher>(watcherService, connection,
                                                   QDBusServiceWatcher::WatchForOwnerChange);
    connect(
        watch_.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString&, const QString&, const QString& owner) { watcherChanged(!owner.isEmpty()); });
    for (const char* const change : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"}) {
        // From anybody: the library would wait for the bus to learn who the watcher is, and it is asked
        // anyway.
        connection.connect(QString(), watcherPath, watcherService, change, this, SLOT(hostsChanged()));
    }
    watcherChanged(false);
    askForWatcher();
}

void StatusNotifierHosts::ask(QDBusMessage call,
                              const std::function<void(const QDBusPendingCall&)>& answered) {
    call.setAutoStartService(false);
    auto* const pending = new QDBusPendingCallWatcher(bus_.connection().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this,
            [this, pending, answered, generation = generation_] {
                pending->deleteLater();
                if (generation == generation_) {
                    answered(*pending);
                }
            });
}

void StatusNotifierHosts::askForWatcher() {
    auto call = QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                               "org.freedesktop.DBus", "NameHasOwner");
    call << watcherService;
    ask(call, [this](const QDBusPendingCall& answer) {
        const QDBusPendingReply<bool> isOwned = answer;
        if (isOwned.isValid() && isOwned.value()) {
            watcherChanged(true);
        }
    });
}

void StatusNotifierHosts::watcherChanged(bool isThere) {
    ++generation_;
    hasWatcher_ = isThere;
    watcherHasHost_ = isRegistered_ = isRegistering_ = false;
    tell();
    if (isThere) {
        registerItem();
        askForHosts();
    }
}

void StatusNotifierHosts::registerItem() {
    isRegistering_ = true;
    hostsChangedMeanwhile_ = false;
    auto call = QDBusMessage::createMethodCall(watcherService, watcherPath, watcherService,
                                               "RegisterStatusNotifierItem");
    // Every watcher takes the connection's own name, which no other program can hold.
    call << bus_.connection().baseService();
    ask(call, [this](const QDBusPendingCall& answer) {
        isRegistering_ = false;
        isRegistered_ = !answer.isError();
        if (!isRegistered_) {
            log.notice("the desktop did not take the status item: %s",
                       answer.error().message().toStdString());
            if (hostsChangedMeanwhile_) {
                registerItem();
            }
        }
        tell();
    });
}

void StatusNotifierHosts::hostsChanged() {
    if (!hasWatcher_) {
        return;
    }
    hostsChangedMeanwhile_ = isRegistering_;
    if (!isRegistered_ && !isRegistering_) {
        registerItem(); // refused before
    }
    askForHosts();
}

void StatusNotifierHosts::askForHosts() {
    auto call =
        QDBusMessage::createMethodCall(watcherService, watcherPath, "org.freedesktop.DBus.Properties", "Get");
    call << watcherService << "IsStatusNotifierHostRegistered";
    ask(call, [this](const QDBusPendingCall& answer) {
        const QDBusPendingReply<QDBusVariant> hasHost = answer;
        watcherHasHost_ = hasHost.isValid() && hasHost.value().variant().toBool();
        tell();
    });
}

void StatusNotifierHosts::tell() {
    const bool hasHost = watcherHasHost_ && isRegistered_;
    if (hasHost != hasHost_) {
        hasHost_ = hasHost;
        emit changed();
    }
}

} // namespace keysong
