#include "App/SessionBus.h"

#include "Shared/Log.h"

#include <QDBusMessage>
#include <utility>

namespace keysong {

namespace {

constexpr const char* busName = "org.freedesktop.DBus";

/// A connection that is none.
QDBusConnection noConnection() {
    return QDBusConnection(QString());
}

} // namespace

SessionBus::SessionBus(Services services) : services_(std::move(services)), connection_(noConnection()) {
}

SessionBus::~SessionBus() {
    lifetime_.end();
    if (connections_ > 0) {
        QDBusConnection::disconnectFromBus(connection_.name());
    }
}

bool SessionBus::open() {
    if (services_.answers(answerLimit)) {
        connectNow();
    }
    if (!isOpen()) {
        log.notice("no session bus: remote control is not available");
        searchLater();
    }
    return isOpen();
}

void SessionBus::connectNow() {
    // The library keeps a connection under its name, also one that is lost.
    const QString old = connection_.name();
    connection_ = noConnection();
    if (!old.isEmpty()) {
        QDBusConnection::disconnectFromBus(old);
    }
    connection_ = QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                                QStringLiteral("keysong-%1").arg(++connections_));
    connection_.connect(QString(), "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local",
                        "Disconnected", this, SLOT(disconnected()));
}

void SessionBus::disconnected() {
    log.notice("the session bus went away");
    searchLater();
}

void SessionBus::searchLater() {
    services_.mainQueue.asyncAfter(searchInterval, lifetime_.guarded([this] { search(); }));
}

void SessionBus::search() {
    services_.background([&services = services_, found = lifetime_.guarded([this] {
        connectNow();
        if (isOpen()) {
            log.notice("the session bus is there");
            emit opened();
        } else {
            searchLater();
        }
    }),
                          notFound = lifetime_.guarded([this] { searchLater(); })] {
        services.mainQueue.async(services.answers(answerLimit) ? TaskQueue::Task(found) : notFound);
    });
}

QDBusMessage SessionBus::callBus(const char* method, const QVariantList& arguments) const {
    auto message = QDBusMessage::createMethodCall(busName, "/org/freedesktop/DBus", busName, method);
    message.setArguments(arguments);
    return connection_.call(message, QDBus::Block, callLimitMilliseconds);
}

} // namespace keysong
