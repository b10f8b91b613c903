#include "App/RemoteState.h"

#include "App/RemoteControl.h"
#include "App/RemoteTypes.h"
#include "App/RemoteValue.h"
#include "App/SettingTable.h"
#include "Shared/Log.h"

#include <QDBusPendingCallWatcher>
#include <utility>

namespace keysong {

namespace {

constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
/// For everything but the first answer: a new output may take its time.
constexpr std::chrono::milliseconds longPatience{15'000};

QDBusMessage message(const char* interface, const char* method, const QVariantList& arguments) {
    auto result = QDBusMessage::createMethodCall(RemoteControl::serviceName, RemoteControl::objectPath,
                                                 interface, method);
    result.setArguments(arguments);
    result.setAutoStartService(false);
    return result;
}

} // namespace

RemoteState::RemoteState(const QDBusConnection& bus)
    : bus_(bus), watcher_(RemoteControl::serviceName, bus_, QDBusServiceWatcher::WatchForUnregistration) {
    registerRemoteTypes();
    bus_.connect(RemoteControl::serviceName, RemoteControl::objectPath, propertiesInterface,
                 "PropertiesChanged", this, SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    connect(&watcher_, &QDBusServiceWatcher::serviceUnregistered, this, [this] { emit lost({}); });
}

void RemoteState::ask(const QDBusMessage& question, std::chrono::milliseconds limit,
                      const std::function<void(const QDBusMessage&)>& answered) {
    auto* const pending =
        new QDBusPendingCallWatcher(bus_.asyncCall(question, static_cast<int>(limit.count())), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [answered, pending] {
        pending->deleteLater();
        answered(pending->reply());
    });
}

void RemoteState::load() {
    ask(message(propertiesInterface, "GetAll", {QString(RemoteControl::controlInterface)}), patience,
        [this](const QDBusMessage& answer) {
            if (answer.type() == QDBusMessage::ErrorMessage) {
                emit lost(answer.errorMessage());
                return;
            }
            take(qdbus_cast<QVariantMap>(answer.arguments().value(0)));
            emit loaded();
        });
}

void RemoteState::change(const SettingChange& change) {
    withRowOf(change, [this](const auto& row, const auto& value) {
        using Form = RemoteValue<typename std::decay_t<decltype(row)>::Value>;
        send(row.name, Form::toBus(value));
        // After it is sent: what the observers send comes behind.
        store(settings_.*row.field, value, row.changed);
    });
}

void RemoteState::send(const QString& property, const QVariant& value) {
    if (const auto request = requests_.find(property); request != requests_.end()) {
        request->second.next = value; // a slider moves faster than answers come
        return;
    }
    requests_.emplace(property, Request());
    ask(message(
            propertiesInterface, "Set",
            {QString(RemoteControl::controlInterface), property, QVariant::fromValue(QDBusVariant(value))}),
        longPatience, [this, property](const QDBusMessage& answer) { answered(property, answer); });
}

void RemoteState::answered(const QString& property, const QDBusMessage& answer) {
    const Request request = std::exchange(requests_.at(property), {});
    requests_.erase(property);
    if (request.next.isValid()) {
        send(property, request.next);
    } else if (answer.type() == QDBusMessage::ErrorMessage) {
        log.notice("%{public}s was not changed: %{public}s", property.toStdString(),
                   answer.errorMessage().toStdString());
        load(); // it shows what it still is
    } else if (request.heard.isValid()) {
        take(property, request.heard);
    }
}

void RemoteState::propertiesChanged(const QString& interface, const QVariantMap& values, const QStringList&) {
    if (interface != QLatin1String(RemoteControl::controlInterface)) {
        return;
    }
    take(values);
    // What no signal tells of changes with this.
    if (values.contains("Trusted")) {
        load();
    }
}

void RemoteState::take(const QVariantMap& values) {
    const auto adopt = [&values](const char* name, auto& field) {
        using Form = RemoteValue<std::decay_t<decltype(field)>>;
        if (auto value = Form::fromBus(values.value(name))) {
            field = std::move(*value);
        }
    };
    adopt("SystemGivesAccess", systemGivesAccess_);
    adopt("Hotkeys", hotkeyWay_);
    adopt("PlayingOn", playingOn_);
    adopt("LateHits", lateHits_);
    adopt("Xruns", xruns_);
    for (const auto& [name, value] : values.asKeyValueRange()) {
        if (const auto request = requests_.find(name); request != requests_.end()) {
            request->second.heard = value; // an older one than the value that shows
        } else {
            take(name, value);
        }
    }
}

void RemoteState::setKeysPressed(std::int64_t total) {
    hasLiveCount_ = true;
    store(live_.keysPressed, total, &AppState::keysPressedChanged);
}

void RemoteState::take(const QString& property, const QVariant& given) {
    if (hasLiveCount_ && property == QLatin1String("KeysPressed")) {
        return;
    }
    const auto takeInto = [&](const auto& row, auto& field) {
        using Value = typename std::decay_t<decltype(row)>::Value;
        if (property == QLatin1String(row.name)) {
            if (const auto value = RemoteValue<Value>::fromBus(given)) {
                store(field, *value, row.changed);
            }
        }
    };
    forEachRow(settingTable, [&](const auto& row) { takeInto(row, settings_.*row.field); });
    forEachRow(liveTable, [&](const auto& row) { takeInto(row, live_.*row.field); });
}

void RemoteState::previewSet(const std::string& id) {
    call("Preview", {QString::fromStdString(id)});
}

void RemoteState::resetStats() {
    call("ResetStatistics", {});
}

void RemoteState::quit() {
    call("Quit", {});
}

void RemoteState::call(const char* method, const QVariantList& arguments) {
    ask(message(RemoteControl::controlInterface, method, arguments), longPatience,
        [method](const QDBusMessage& answer) {
            if (answer.type() == QDBusMessage::ErrorMessage) {
                log.notice("%{public}s failed: %{public}s", std::string_view(method),
                           answer.errorMessage().toStdString());
            }
        });
}

} // namespace keysong
