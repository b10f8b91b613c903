#include "Program/FirstInstance.h"

#include "Shared/Log.h"

#include <QDBusMessage>
#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>

namespace keysong {

FirstInstance::FirstInstance(SettingsLock& lock, SessionBus& bus, RemoteControl& remote,
                             std::function<bool()> isAskedToEnd)
    : lock_(lock), bus_(bus), remote_(remote), isAskedToEnd_(std::move(isAskedToEnd)) {
}

FirstInstance::Launch FirstInstance::decide() {
    using std::chrono::milliseconds;
    while (!isAskedToEnd_()) {
        const auto left =
            std::chrono::duration_cast<milliseconds>(deadline_ - std::chrono::steady_clock::now());
        if (const auto launch = look(std::max(left, interval))) {
            return *launch;
        }
        if (left <= interval) {
            return Launch::hung;
        }
        std::this_thread::sleep_for(interval);
    }
    return Launch::second;
}

std::optional<FirstInstance::Launch> FirstInstance::look(std::chrono::milliseconds left) {
    if (lock_.take() != SettingsLock::Outcome::taken && remote_.claim() != RemoteControl::Claim::taken) {
        return Launch::first;
    }
    if (remote_.activateOther(left)) {
        return Launch::second;
    }
    return std::nullopt;
}

void FirstInstance::reportHung() const {
    const auto process = lock_.holder();
    const std::string named =
        process ? "process " + std::to_string(*process) : std::string("another process");
    const std::string text =
        "Keysong runs already as " + named + " and does not answer." +
        (process ? " \"kill " + std::to_string(*process) + "\" ends it." : std::string());
    log.error("%{public}s", text);
    std::fprintf(stderr, "keysong: %s\n", text.c_str());
    if (bus_.isOpen()) {
        auto message =
            QDBusMessage::createMethodCall("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                           "org.freedesktop.Notifications", "Notify");
        message << "Keysong" << uint{0} << RemoteControl::serviceName << "Keysong does not answer"
                << QString::fromStdString(text) << QStringList() << QVariantMap() << -1;
        bus_.connection().call(message, QDBus::Block, static_cast<int>(interval.count()));
    }
}

} // namespace keysong
