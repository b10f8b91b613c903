#include "App/LaunchAtLogin.h"

namespace keysong {

void LaunchAtLogin::set(LoginItem& item, bool enabled) {
    if (enabled) {
        item.registerItem();
    } else if (item.status() != LoginItem::Status::notRegistered) {
        item.unregisterItem();
    }
}

bool LaunchAtLogin::isEnabled(const LoginItem& item) {
    return item.status() == LoginItem::Status::enabled;
}

} // namespace keysong
