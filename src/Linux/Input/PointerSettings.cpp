#include "Linux/Input/PointerSettings.h"

namespace keysong {

namespace {

bool fits(const PointerDevice& device, const PointerRule& rule) {
    const bool kindFits = rule.kind == PointerRule::Kind::any ||
                          (rule.kind == PointerRule::Kind::touchpad) == device.isTouchpad;
    return kindFits && rule.vendor.value_or(device.vendor) == device.vendor &&
           rule.product.value_or(device.product) == device.product &&
           (rule.name.empty() || rule.name == device.name) && (rule.node.empty() || rule.node == device.node);
}

template <typename Value>
void take(std::optional<Value>& into, const std::optional<Value>& chosen) {
    if (chosen) {
        into = chosen;
    }
}

} // namespace

PointerSettings settingsOf(const PointerDevice& device, const PointerRules& rules) {
    PointerSettings settings;
    for (const PointerRule& rule : rules) {
        if (fits(device, rule)) {
            take(settings.enabled, rule.settings.enabled);
            take(settings.tap, rule.settings.tap);
            take(settings.tapButtons, rule.settings.tapButtons);
            take(settings.clickMethod, rule.settings.clickMethod);
            take(settings.leftHanded, rule.settings.leftHanded);
            take(settings.middleEmulation, rule.settings.middleEmulation);
        }
    }
    return settings;
}

} // namespace keysong
