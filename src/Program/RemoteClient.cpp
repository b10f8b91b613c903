#include "Program/RemoteClient.h"

#include "App/AskerData.h"
#include "App/RemoteControl.h"
#include "App/RemoteTypes.h"
#include "App/SessionBus.h"
#include "Linux/System/SessionBusProbe.h"
#include "Shared/PrintableText.h"

#include <nlohmann/json.hpp>

#include <QDBusConnection>
#include <QDBusMessage>
#include <algorithm>

namespace keysong {

namespace {

/// Longer than any operation takes, a switch of the output included.
constexpr int answerLimitMilliseconds = 15'000;

QVariantList ask(const char* interface, const char* method, const QVariantList& arguments) {
    // One that hangs would keep the library waiting, long before the call.
    static const bool answers = sessionBusAnswers(SessionBus::answerLimit);
    if (!answers) {
        throw RemoteClientError("there is no session bus that answers");
    }
    const auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        throw RemoteClientError("there is no session bus: " + bus.lastError().message().toStdString());
    }
    auto message = QDBusMessage::createMethodCall(RemoteControl::serviceName, RemoteControl::objectPath,
                                                  interface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    const QDBusMessage answer = bus.call(message, QDBus::Block, answerLimitMilliseconds);
    if (answer.type() == QDBusMessage::ReplyMessage) {
        return answer.arguments();
    }
    if (answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown") ||
        answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner")) {
        throw RemoteClientError("Keysong is not running");
    }
    throw RemoteClientError(answer.errorMessage().toStdString());
}

constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

} // namespace

QVariant RemoteClient::get(const char* property) const {
    const auto answer = ask(propertiesInterface, "Get", {QString(RemoteControl::controlInterface), property});
    return answer.value(0).value<QDBusVariant>().variant();
}

QVariantMap RemoteClient::all() const {
    const auto answer = ask(propertiesInterface, "GetAll", {QString(RemoteControl::controlInterface)});
    return qdbus_cast<QVariantMap>(answer.value(0));
}

void RemoteClient::set(const char* property, const QVariant& value) const {
    ask(propertiesInterface, "Set",
        {QString(RemoteControl::controlInterface), property, QVariant::fromValue(QDBusVariant(value))});
}

QVariant RemoteClient::call(const char* method, const QVariantList& arguments) const {
    return ask(RemoteControl::controlInterface, method, arguments).value(0);
}

void RemoteClient::showSettings() const {
    ask(RemoteControl::applicationInterface, "Activate", {platformDataOf(askerOfEnvironment())});
}

double RemoteClient::number(const char* property) const {
    return get(property).toDouble();
}

std::string RemoteClient::text(const char* property) const {
    return get(property).toString().toStdString();
}

std::vector<RemoteClient::Choice> RemoteClient::choicesIn(const QVariant& value) {
    std::vector<Choice> result;
    for (const RemoteChoice& choice : qdbus_cast<RemoteChoices>(value)) {
        result.push_back({choice.id.toStdString(), choice.name.toStdString()});
    }
    return result;
}

std::string RemoteClient::marked(const std::vector<Choice>& choices, const std::string& chosen) {
    std::string lines;
    for (const Choice& choice : choices) {
        lines +=
            (choice.id == chosen ? "* " : "  ") + printable(choice.id) + '\t' + printable(choice.name) + '\n';
    }
    return lines;
}

std::vector<std::string> RemoteClient::setIds() const {
    std::vector<std::string> ids;
    for (const Choice& choice : choicesIn(get("Sets"))) {
        ids.push_back(choice.id);
    }
    return ids;
}

std::string RemoteClient::sets() const {
    return marked(choicesIn(get("Sets")), text("SetId"));
}

std::string RemoteClient::outputs() const {
    const std::string chosen = text("OutputUid");
    return std::string(chosen.empty() ? "* " : "  ") + "default\tSystem default\n" +
           marked(choicesIn(get("Outputs")), chosen);
}

std::string RemoteClient::stats() const {
    return std::to_string(get("KeysPressed").toLongLong()) + '\n';
}

std::string RemoteClient::status(bool asJson) const {
    const QVariantMap values = all();
    if (asJson) {
        nlohmann::json json;
        for (const auto& [name, value] : values.asKeyValueRange()) {
            auto& entry = json[name.toStdString()];
            switch (value.typeId()) {
            case QMetaType::Bool:
                entry = value.toBool();
                break;
            case QMetaType::Double:
                entry = value.toDouble();
                break;
            case QMetaType::LongLong:
                entry = value.toLongLong();
                break;
            case QMetaType::QString:
                entry = value.toString().toStdString();
                break;
            case QMetaType::QStringList:
                entry = nlohmann::json::array();
                for (const QString& text : value.toStringList()) {
                    entry.push_back(text.toStdString());
                }
                break;
            default:
                entry = nlohmann::json::array();
                for (const Choice& choice : choicesIn(value)) {
                    entry.push_back({{"id", choice.id}, {"name", choice.name}});
                }
            }
        }
        return json.dump(2, ' ', true, nlohmann::json::error_handler_t::replace) + '\n';
    }
    const auto flag = [&](const char* name) { return values.value(name).toBool(); };
    const auto word = [&](const char* name) {
        return printable(values.value(name).toString().toStdString());
    };
    const auto decimal = [&](const char* name) {
        return QString::number(values.value(name).toDouble()).toStdString();
    };
    const std::string sound = !flag("Trusted")   ? "not allowed to hear the keyboards"
                              : !flag("Enabled") ? "off"
                              : flag("Sleeping") ? "asleep"
                                                 : "on";
    return "sound    " + sound + "\nset      " + word("SetId") + "\nvolume   " + decimal("Volume") +
           "\ntone     " + decimal("Tone") + "\nbody     " + decimal("Body") + "\noutput   " +
           (word("OutputUid").empty() ? std::string("default") : word("OutputUid")) + "\nplaying  " +
           word("PlayingOn") + "\nhotkeys  " + word("Hotkeys") + "\nkeys     " +
           std::to_string(values.value("KeysPressed").toLongLong()) + '\n';
}

} // namespace keysong
