#include "App/AskerData.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <algorithm>
#include <array>

namespace keysong {

namespace {

using Texts = QMap<QString, QString>;

constexpr const char* tokenKey = "activation-token";
constexpr const char* startupIdKey = "desktop-startup-id";
constexpr const char* displayKey = "com.orlen.keysong.display";
/// As long as a path.
constexpr qsizetype longestValue = 4096;
constexpr qsizetype longestToken = 1024;

constexpr std::array variables{"DISPLAY",
                               "WAYLAND_DISPLAY",
                               "XAUTHORITY",
                               "XDG_SESSION_TYPE",
                               "XDG_CURRENT_DESKTOP",
                               "QT_QPA_PLATFORM",
                               "QT_QPA_PLATFORMTHEME",
                               "QT_STYLE_OVERRIDE",
                               "QT_SCALE_FACTOR",
                               "QT_SCREEN_SCALE_FACTORS",
                               "QT_ENABLE_HIGHDPI_SCALING",
                               "QT_FONT_DPI",
                               "QT_IM_MODULE",
                               "QT_ACCESSIBILITY",
                               "QT_LINUX_ACCESSIBILITY_ALWAYS_ON"};

/// The value as one for the environment; empty where it is none.
std::string checked(const QString& value, qsizetype longest) {
    return value.size() <= longest && !value.contains(QChar(0)) ? value.toStdString() : std::string();
}

Texts textsOf(const QVariant& value) {
    if (value.metaType() != QMetaType::fromType<QDBusArgument>()) {
        return value.value<Texts>();
    }
    const auto argument = value.value<QDBusArgument>();
    return argument.currentSignature() == QLatin1String("a{ss}") ? qdbus_cast<Texts>(argument) : Texts();
}

std::string valueOf(const std::map<std::string, std::string>& texts, const char* name) {
    const auto found = texts.find(name);
    return found == texts.end() ? std::string() : found->second;
}

/// Without the number of the first screen, which says nothing.
std::string serverOf(const std::map<std::string, std::string>& texts) {
    std::string display = valueOf(texts, "DISPLAY");
    return display.ends_with(".0") ? display.substr(0, display.size() - 2) : display;
}

} // namespace

std::span<const char* const> displayVariables() noexcept {
    return variables;
}

bool namesDisplay(const std::map<std::string, std::string>& texts) {
    return !valueOf(texts, "WAYLAND_DISPLAY").empty() || !valueOf(texts, "DISPLAY").empty();
}

bool isSameDisplay(const std::map<std::string, std::string>& one,
                   const std::map<std::string, std::string>& other) {
    // A Wayland session has an X server beside it, which not every program of it knows.
    const std::string wayland = valueOf(one, "WAYLAND_DISPLAY");
    return wayland == valueOf(other, "WAYLAND_DISPLAY") &&
           (!wayland.empty() || serverOf(one) == serverOf(other));
}

Asker askerOfEnvironment() {
    Asker result;
    for (const char* variable : variables) {
        if (auto value = checked(qEnvironmentVariable(variable), longestValue); !value.empty()) {
            result.display.emplace(variable, std::move(value));
        }
    }
    if (!namesDisplay(result.display)) {
        result.display.clear();
    }
    result.activationToken = checked(qEnvironmentVariable("XDG_ACTIVATION_TOKEN"), longestToken);
    result.startupId = checked(qEnvironmentVariable("DESKTOP_STARTUP_ID"), longestToken);
    return result;
}

QVariantMap platformDataOf(const Asker& asker) {
    qDBusRegisterMetaType<Texts>();
    QVariantMap result;
    if (!asker.activationToken.empty()) {
        result.insert(tokenKey, QString::fromStdString(asker.activationToken));
    }
    if (!asker.startupId.empty()) {
        result.insert(startupIdKey, QString::fromStdString(asker.startupId));
    }
    Texts display;
    for (const auto& [name, value] : asker.display) {
        display.insert(QString::fromStdString(name), QString::fromStdString(value));
    }
    if (!display.isEmpty()) {
        result.insert(displayKey, QVariant::fromValue(display));
    }
    return result;
}

Asker askerOf(const QVariantMap& platformData) {
    qDBusRegisterMetaType<Texts>();
    Asker result;
    result.activationToken = checked(platformData.value(tokenKey).toString(), longestToken);
    result.startupId = checked(platformData.value(startupIdKey).toString(), longestToken);
    const Texts display = textsOf(platformData.value(displayKey));
    for (const char* variable : variables) {
        if (auto value = checked(display.value(variable), longestValue); !value.empty()) {
            result.display.emplace(variable, std::move(value));
        }
    }
    if (!namesDisplay(result.display)) {
        result.display.clear();
    }
    return result;
}

} // namespace keysong
