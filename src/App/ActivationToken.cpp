#include "App/ActivationToken.h"

#include <array>
#include <utility>

namespace keysong {

namespace {

using Entry = std::pair<const char*, const char*>;

/// Keys of the message, and the environment variables that mean the same.
constexpr std::array<Entry, 2> entries = {
    Entry{"activation-token", "XDG_ACTIVATION_TOKEN"},
    Entry{"desktop-startup-id", "DESKTOP_STARTUP_ID"},
};
constexpr qsizetype longestToken = 1024;

} // namespace

QVariantMap activationOfEnvironment() {
    QVariantMap result;
    for (const auto& [key, variable] : entries) {
        const QString value = qEnvironmentVariable(variable);
        if (!value.isEmpty()) {
            result.insert(key, value);
        }
    }
    return result;
}

void adoptActivation(const QVariantMap& platformData) {
    for (const auto& [key, variable] : entries) {
        const QString value = platformData.value(key).toString();
        if (!value.isEmpty() && value.size() <= longestToken) {
            qputenv(variable, value.toUtf8());
        }
    }
}

} // namespace keysong
