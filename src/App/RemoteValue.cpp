#include "App/RemoteValue.h"

#include "App/RemoteTypes.h"

#include <QStringList>
#include <algorithm>
#include <limits>

namespace keysong {

namespace {

template <typename Bus>
std::optional<Bus> expected(const QVariant& value) {
    return value.metaType() == QMetaType::fromType<Bus>() ? std::optional(value.value<Bus>()) : std::nullopt;
}

template <typename Entry>
QVariant choices(const std::vector<Entry>& entries, std::string Entry::*id, std::string Entry::*name) {
    RemoteChoices result;
    for (const Entry& entry : entries) {
        result << RemoteChoice{QString::fromStdString(entry.*id), QString::fromStdString(entry.*name)};
    }
    return QVariant::fromValue(result);
}

template <typename Entry>
std::optional<std::vector<Entry>> entries(const QVariant& value, std::string Entry::*id,
                                          std::string Entry::*name) {
    // A list that has come over the bus is still packed; it unpacks to nothing when it is another one.
    if (value.metaType() != QMetaType::fromType<QDBusArgument>() ||
        value.value<QDBusArgument>().currentSignature() != QLatin1String("a(ss)")) {
        return std::nullopt;
    }
    std::vector<Entry> result;
    for (const RemoteChoice& choice : qdbus_cast<RemoteChoices>(value)) {
        Entry& entry = result.emplace_back();
        entry.*id = choice.id.toStdString();
        entry.*name = choice.name.toStdString();
    }
    return result;
}

} // namespace

QVariant RemoteValue<bool>::toBus(bool value) {
    return value;
}

std::optional<bool> RemoteValue<bool>::fromBus(const QVariant& value) {
    return expected<bool>(value);
}

QVariant RemoteValue<float>::toBus(float value) {
    return QString::number(static_cast<double>(value), 'g', 7).toDouble();
}

std::optional<float> RemoteValue<float>::fromBus(const QVariant& value) {
    using Limits = std::numeric_limits<float>;
    const auto number = expected<double>(value);
    return number ? std::optional(
                        static_cast<float>(std::clamp<double>(*number, Limits::lowest(), Limits::max())))
                  : std::nullopt;
}

QVariant RemoteValue<std::int64_t>::toBus(std::int64_t value) {
    return QVariant::fromValue<qlonglong>(value);
}

std::optional<std::int64_t> RemoteValue<std::int64_t>::fromBus(const QVariant& value) {
    return expected<qlonglong>(value);
}

QVariant RemoteValue<std::string>::toBus(const std::string& value) {
    return QString::fromStdString(value);
}

std::optional<std::string> RemoteValue<std::string>::fromBus(const QVariant& value) {
    const auto text = expected<QString>(value);
    return text ? std::optional(text->toStdString()) : std::nullopt;
}

QVariant RemoteValue<std::optional<std::string>>::toBus(const std::optional<std::string>& value) {
    return QString::fromStdString(value.value_or(""));
}

std::optional<std::optional<std::string>>
RemoteValue<std::optional<std::string>>::fromBus(const QVariant& value) {
    auto text = RemoteValue<std::string>::fromBus(value);
    if (!text) {
        return std::nullopt;
    }
    return std::optional(text->empty() ? std::nullopt : std::move(text));
}

QVariant RemoteValue<std::vector<std::string>>::toBus(const std::vector<std::string>& value) {
    QStringList result;
    for (const std::string& text : value) {
        result << QString::fromStdString(text);
    }
    return result;
}

std::optional<std::vector<std::string>>
RemoteValue<std::vector<std::string>>::fromBus(const QVariant& value) {
    const auto texts = expected<QStringList>(value);
    if (!texts) {
        return std::nullopt;
    }
    std::vector<std::string> result;
    for (const QString& text : *texts) {
        result.push_back(text.toStdString());
    }
    return result;
}

QVariant RemoteValue<std::vector<SoundSetInfo>>::toBus(const std::vector<SoundSetInfo>& value) {
    return choices(value, &SoundSetInfo::id, &SoundSetInfo::name);
}

std::optional<std::vector<SoundSetInfo>>
RemoteValue<std::vector<SoundSetInfo>>::fromBus(const QVariant& value) {
    return entries(value, &SoundSetInfo::id, &SoundSetInfo::name);
}

QVariant RemoteValue<std::vector<AudioOutputDevice>>::toBus(const std::vector<AudioOutputDevice>& value) {
    return choices(value, &AudioOutputDevice::uid, &AudioOutputDevice::name);
}

std::optional<std::vector<AudioOutputDevice>>
RemoteValue<std::vector<AudioOutputDevice>>::fromBus(const QVariant& value) {
    return entries(value, &AudioOutputDevice::uid, &AudioOutputDevice::name);
}

} // namespace keysong
