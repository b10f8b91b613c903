#include "App/RemoteControl.h"

#include "App/AskerData.h"
#include "App/BusObject.h"
#include "App/RemoteTypes.h"
#include "App/SettingTable.h"
#include "Shared/Log.h"

#include <QDBusMessage>
#include <QDBusReply>
#include <algorithm>
#include <stdexcept>
#include <utility>

namespace keysong {

namespace {

// The bus's own numbers for a request of a name and what came of it.
constexpr uint doNotQueue = 4;
constexpr uint isPrimaryOwner = 1;
constexpr uint isOwnerAlready = 4;

constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

/// What a message carries when its arguments are what `signature` says.
bool hasSignature(const QDBusMessage& message, const char* signature) {
    return message.signature() == QLatin1String(signature);
}

} // namespace

RemoteControl::RemoteControl(SessionBus& bus) : bus_(bus) {
    registerRemoteTypes();
    connect(&bus_, &SessionBus::opened, this, &RemoteControl::takeNameAgain);
}

RemoteControl::~RemoteControl() {
    QDBusConnection(bus_.connection()).unregisterObject(objectPath);
}

RemoteControl::Claim RemoteControl::claim() {
    if (!bus_.isOpen()) {
        return Claim::noBus;
    }
    QDBusConnection connection = bus_.connection();
    // A launch that waits for the name claims it again and again.
    if (connection.objectRegisteredAt(objectPath) == nullptr &&
        !connection.registerVirtualObject(objectPath, this, QDBusConnection::SingleNode)) {
        log.error("remote control is not available: %s", connection.lastError().message().toStdString());
    }
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
    for (const Property& property : properties()) {
        if (property.changed != nullptr) {
            connect(&model, property.changed, this, [this, &property] { emitChanged(property); });
        }
    }
}

void RemoteControl::beginEnding() {
    if (!std::exchange(ends_, true) && bus_.isOpen()) {
        auto message = QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                      "org.freedesktop.DBus", "ReleaseName");
        message << serviceName;
        bus_.connection().send(message);
    }
}

void RemoteControl::emitChanged(const Property& property) const {
    auto message = QDBusMessage::createSignal(objectPath, propertiesInterface, "PropertiesChanged");
    message << QString(controlInterface) << QVariantMap{{property.name, property.get(*model_)}}
            << QStringList();
    bus_.connection().send(message);
}

QVariantMap RemoteControl::allProperties() const {
    QVariantMap result;
    for (const Property& property : properties()) {
        result.insert(property.name, property.get(*model_));
    }
    return result;
}

QVariantList RemoteControl::handleProperties(const QDBusMessage& message) {
    const auto& arguments = message.arguments();
    if (arguments.isEmpty() || arguments[0].toString() != QLatin1String(controlInterface)) {
        throw Refusal(QDBusError::UnknownInterface, "no properties in this interface");
    }
    if (message.member() == "GetAll" && hasSignature(message, "s")) {
        return {allProperties()};
    }
    const bool isGet = message.member() == "Get" && hasSignature(message, "ss");
    const bool isSet = message.member() == "Set" && hasSignature(message, "ssv");
    if (!isGet && !isSet) {
        throw Refusal(QDBusError::UnknownMethod, "no such method with these arguments");
    }
    const QString name = arguments[1].toString();
    const auto& all = properties();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Property& property) { return name == property.name; });
    if (found == all.end()) {
        throw Refusal(QDBusError::UnknownProperty, "no such property: " + name.toStdString());
    }
    if (isGet) {
        return {QVariant::fromValue(QDBusVariant(found->get(*model_)))};
    }
    if (!found->set) {
        throw Refusal(QDBusError::PropertyReadOnly, name.toStdString() + " can only be read");
    }
    found->set(*model_, arguments[2].value<QDBusVariant>().variant());
    return {};
}

bool RemoteControl::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.type() != QDBusMessage::MethodCallMessage || model_ == nullptr) {
        return false;
    }
    QDBusMessage answer;
    try {
        if ((ends_ || isEnding_()) && message.member() != QLatin1String("Quit")) {
            throw Refusal(QDBusError::ServiceUnknown, "Keysong is ending");
        }
        if (message.interface() == QLatin1String(propertiesInterface)) {
            answer = message.createReply(handleProperties(message));
        } else {
            const auto& all = methods();
            const auto found = std::find_if(all.begin(), all.end(), [&](const Method& method) {
                return message.member() == method.name && hasSignature(message, method.inSignature) &&
                       (message.interface().isEmpty() || message.interface() == method.interface);
            });
            if (found == all.end()) {
                return false; // the library answers that there is no such method
            }
            answer = message.createReply(found->call(*this, message.arguments()));
        }
    } catch (const Refusal& refusal) {
        answer = message.createErrorReply(refusal.type(), refusal.what());
    } catch (const SettingRefused& refusal) {
        answer = message.createErrorReply(QDBusError::InvalidArgs, refusal.what());
    }
    if (message.isReplyRequired()) {
        connection.send(answer);
    }
    return true;
}

QString RemoteControl::introspect(const QString& path) const {
    if (path != objectPath) {
        return {};
    }
    const auto argumentsOf = [](const char* signature, const char* direction) {
        QString xml;
        for (const QString& type : completeTypes(signature)) {
            xml += QStringLiteral("<arg type=\"%1\" direction=\"%2\"/>").arg(type, QLatin1String(direction));
        }
        return xml;
    };
    QString xml;
    for (const char* interface : {controlInterface, applicationInterface}) {
        xml += QStringLiteral("<interface name=\"%1\">").arg(interface);
        for (const Method& method : methods()) {
            if (QLatin1String(method.interface) == interface) {
                xml += QStringLiteral("<method name=\"%1\">").arg(method.name) +
                       argumentsOf(method.inSignature, "in") + argumentsOf(method.outSignature, "out") +
                       "</method>";
            }
        }
        if (interface == controlInterface) {
            for (const Property& property : properties()) {
                xml += QStringLiteral("<property name=\"%1\" type=\"%2\" access=\"%3\"/>")
                           .arg(property.name, property.signature, property.set ? "readwrite" : "read");
            }
        }
        xml += "</interface>";
    }
    return xml;
}

} // namespace keysong
