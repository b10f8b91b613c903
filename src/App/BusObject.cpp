#include "App/BusObject.h"

#include "Shared/Log.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QStringList>
#include <algorithm>

namespace keysong {

namespace {

constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* noSuchMethod = "no such method with these arguments";

bool hasSignature(const QDBusMessage& message, const char* signature) {
    return message.signature() == QLatin1String(signature);
}

/// The row with this name; null for none.
template <typename Row>
const Row* find(const std::vector<Row>& rows, const QString& name) {
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [&](const Row& row) { return name == QLatin1String(row.name); });
    return found == rows.end() ? nullptr : &*found;
}

/// The method that a message calls; null when it is not for any of the interfaces. A message need not name
/// the interface.
const BusMethod* calledMethod(const std::vector<BusInterface>& interfaces, const QDBusMessage& message) {
    bool isMeant = false;
    for (const BusInterface& interface : interfaces) {
        if (message.interface().isEmpty() || message.interface() == QLatin1String(interface.name)) {
            isMeant = true;
            const BusMethod* const method = find(interface.methods, message.member());
            if (method != nullptr && hasSignature(message, method->inSignature)) {
                return method;
            }
        }
    }
    if (isMeant) {
        throw BusRefusal(QDBusError::UnknownMethod, noSuchMethod);
    }
    return nullptr;
}

/// A D-Bus signature cut into its complete types.
QStringList completeTypes(const char* signature) {
    QStringList types;
    QString type;
    int depth = 0;
    for (const char* at = signature; *at != '\0'; ++at) {
        type += QLatin1Char(*at);
        depth += *at == '(' || *at == '{' ? 1 : 0;
        depth -= *at == ')' || *at == '}' ? 1 : 0;
        if (depth == 0 && *at != 'a') {
            types << type;
            type.clear();
        }
    }
    return types;
}

QString describe(const char* signature, const char* direction) {
    QString xml;
    for (const QString& type : completeTypes(signature)) {
        xml += QStringLiteral("<arg type=\"%1\" direction=\"%2\"/>").arg(type, QLatin1String(direction));
    }
    return xml;
}

QString describe(const BusInterface& interface) {
    QString xml = QStringLiteral("<interface name=\"%1\">").arg(interface.name);
    for (const BusMethod& method : interface.methods) {
        xml += QStringLiteral("<method name=\"%1\">").arg(method.name) + describe(method.inSignature, "in") +
               describe(method.outSignature, "out") + "</method>";
    }
    for (const BusSignal& sent : interface.sends) {
        xml += QStringLiteral("<signal name=\"%1\">").arg(sent.name) + describe(sent.signature, "out") +
               "</signal>";
    }
    for (const BusProperty& property : interface.properties) {
        xml += QStringLiteral("<property name=\"%1\" type=\"%2\" access=\"%3\"/>")
                   .arg(property.name, property.signature, property.set ? "readwrite" : "read");
    }
    return xml + "</interface>";
}

} // namespace

BusObject::~BusObject() {
    QDBusConnection(bus_.connection()).unregisterObject(path_);
}

bool BusObject::publish() {
    QDBusConnection connection = bus_.connection();
    if (connection.objectRegisteredAt(path_) == nullptr &&
        !connection.registerVirtualObject(path_, this, QDBusConnection::SingleNode)) {
        log.error("nothing is at %{public}s on the bus: %s", path_,
                  connection.lastError().message().toStdString());
        return false;
    }
    return true;
}

void BusObject::admit(const QDBusMessage&) const {
}

void BusObject::send(const char* interface, const char* signal, const QVariantList& arguments) const {
    auto message = QDBusMessage::createSignal(path_, interface, signal);
    message.setArguments(arguments);
    bus_.connection().send(message);
}

void BusObject::sendChanged(const char* interface, const char* property, const QVariant& value) const {
    send(propertiesInterface, "PropertiesChanged",
         {QString(interface), QVariantMap{{property, value}}, QStringList()});
}

QVariantList BusObject::handleProperties(const QDBusMessage& message) const {
    const auto& arguments = message.arguments();
    const BusInterface* const interface =
        arguments.isEmpty() ? nullptr : find(interfaces(), arguments[0].toString());
    if (interface == nullptr) {
        throw BusRefusal(QDBusError::UnknownInterface, "no properties in this interface");
    }
    if (message.member() == "GetAll" && hasSignature(message, "s")) {
        QVariantMap all;
        for (const BusProperty& property : interface->properties) {
            all.insert(property.name, property.get());
        }
        return {all};
    }
    const bool isGet = message.member() == "Get" && hasSignature(message, "ss");
    const bool isSet = message.member() == "Set" && hasSignature(message, "ssv");
    if (!isGet && !isSet) {
        throw BusRefusal(QDBusError::UnknownMethod, noSuchMethod);
    }
    const QString name = arguments[1].toString();
    const BusProperty* const property = find(interface->properties, name);
    if (property == nullptr) {
        throw BusRefusal(QDBusError::UnknownProperty, "no such property: " + name.left(100).toStdString());
    }
    if (isGet) {
        return {QVariant::fromValue(QDBusVariant(property->get()))};
    }
    if (!property->set) {
        throw BusRefusal(QDBusError::PropertyReadOnly, name.toStdString() + " can only be read");
    }
    property->set(arguments[2].value<QDBusVariant>().variant());
    return {};
}

bool BusObject::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.type() != QDBusMessage::MethodCallMessage) {
        return false;
    }
    QDBusMessage answer;
    try {
        admit(message);
        if (message.interface() == QLatin1String(propertiesInterface)) {
            answer = message.createReply(handleProperties(message));
        } else {
            const BusMethod* const method = calledMethod(interfaces(), message);
            if (method == nullptr) {
                return false; // the library answers
            }
            answer = message.createReply(method->call(message.arguments()));
        }
    } catch (const BusRefusal& refusal) {
        answer = message.createErrorReply(refusal.type(), refusal.what());
    }
    if (message.isReplyRequired()) {
        connection.send(answer);
    }
    return true;
}

QString BusObject::introspect(const QString& path) const {
    QString xml;
    if (path == QLatin1String(path_)) {
        for (const BusInterface& interface : interfaces()) {
            xml += describe(interface);
        }
    }
    return xml;
}

} // namespace keysong
