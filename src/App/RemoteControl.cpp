#include "App/RemoteControl.h"

#include "App/AskerData.h"
#include "App/RemoteTypes.h"
#include "Shared/Log.h"

#include <QDBusMessage>
#include <QDBusReply>
#include <utility>

namespace keysong {

namespace {

// The bus's own numbers for a request of a name and what came of it.
constexpr uint doNotQueue = 4;
constexpr uint isPrimaryOwner = 1;
constexpr uint isOwnerAlready = 4;

} // namespace

RemoteControl::RemoteControl(SessionBus& bus) : BusObject(bus, objectPath), bus_(bus) {
    registerRemoteTypes();
    connect(&bus_, &SessionBus::opened, this, &RemoteControl::takeNameAgain);
}

RemoteControl::Claim RemoteControl::claim() {
    if (!bus_.isOpen()) {
        return Claim::noBus;
    }
    // A launch that waits for the name claims it again and again.
    (void)publish();
    const QDBusReply<uint> reply = bus_.callBus("RequestName", {QString(serviceName), doNotQueue});
    if (!reply.isValid()) {
        log.error("the bus did not give a name: %s", reply.error().message().toStdString());
        return Claim::noBus;
    }
    return reply.value() == isPrimaryOwner || reply.value() == isOwnerAlready ? Claim::owned : Claim::taken;
}

void RemoteControl::takeNameAgain() {
    if (!ends_ && claim() == Claim::taken) {
        log.error("another program has the name %{public}s on the bus", serviceName);
    }
}

bool RemoteControl::activateOther(std::chrono::milliseconds limit) const {
    if (!bus_.isOpen()) {
        return false;
    }
    auto message = QDBusMessage::createMethodCall(serviceName, objectPath, applicationInterface, "Activate");
    message << platformDataOf(askerOfEnvironment());
    message.setAutoStartService(false);
    const QDBusMessage answer =
        bus_.connection().call(message, QDBus::Block, static_cast<int>(limit.count()));
    if (answer.errorName() == QDBusError::errorString(QDBusError::Failed)) {
        log.notice("the program runs already: %{public}s", answer.errorMessage().toStdString());
        return true;
    }
    return answer.type() == QDBusMessage::ReplyMessage;
}

void RemoteControl::attach(AppState& model, AppWindows& windows, std::function<void()> quit,
                           std::function<bool()> isEnding) {
    model_ = &model;
    windows_ = &windows;
    quit_ = std::move(quit);
    isEnding_ = std::move(isEnding);
    interfaces_ = describe();
}

void RemoteControl::beginEnding() {
    if (!std::exchange(ends_, true) && bus_.isOpen()) {
        auto message = QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                      "org.freedesktop.DBus", "ReleaseName");
        message << serviceName;
        bus_.connection().send(message);
    }
}

void RemoteControl::admit(const QDBusMessage& call) const {
    if ((ends_ || (isEnding_ && isEnding_())) && call.member() != QLatin1String("Quit")) {
        throw BusRefusal(QDBusError::ServiceUnknown, "Keysong is ending");
    }
}

} // namespace keysong
