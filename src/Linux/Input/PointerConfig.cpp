#include "Linux/Input/PointerConfig.h"

#include <libinput.h>

namespace keysong {

namespace {

libinput_config_click_method clickMethodOf(libinput_device* device, std::optional<ClickMethod> method) {
    if (!method) {
        return libinput_device_config_click_get_default_method(device);
    }
    switch (*method) {
    case ClickMethod::none:
        break;
    case ClickMethod::areas:
        return LIBINPUT_CONFIG_CLICK_METHOD_BUTTON_AREAS;
    case ClickMethod::fingers:
        return LIBINPUT_CONFIG_CLICK_METHOD_CLICKFINGER;
    }
    return LIBINPUT_CONFIG_CLICK_METHOD_NONE;
}

} // namespace

std::optional<PointerDevice> pointerOf(libinput_device* device, const std::string& node) {
    if (libinput_device_has_capability(device, LIBINPUT_DEVICE_CAP_POINTER) == 0) {
        return std::nullopt;
    }
    return PointerDevice{libinput_device_config_tap_get_finger_count(device) > 0,
                         libinput_device_get_id_vendor(device), libinput_device_get_id_product(device),
                         libinput_device_get_name(device), node};
}

void configure(libinput_device* device, const PointerSettings& settings) {
    // Every call refuses what the device does not have, and changes nothing then.
    libinput_device_config_send_events_set_mode(device, settings.enabled.value_or(true)
                                                            ? LIBINPUT_CONFIG_SEND_EVENTS_ENABLED
                                                            : LIBINPUT_CONFIG_SEND_EVENTS_DISABLED);
    libinput_device_config_tap_set_enabled(
        device, settings.tap.value_or(true) ? LIBINPUT_CONFIG_TAP_ENABLED : LIBINPUT_CONFIG_TAP_DISABLED);
    const bool middleSecond = settings.tapButtons == TapButtons::leftMiddleRight;
    libinput_device_config_tap_set_button_map(device, middleSecond ? LIBINPUT_CONFIG_TAP_MAP_LMR
                                                                   : LIBINPUT_CONFIG_TAP_MAP_LRM);
    libinput_device_config_click_set_method(device, clickMethodOf(device, settings.clickMethod));
    const bool leftHanded =
        settings.leftHanded.value_or(libinput_device_config_left_handed_get_default(device) != 0);
    libinput_device_config_left_handed_set(device, leftHanded ? 1 : 0);
    const bool middle =
        settings.middleEmulation.value_or(libinput_device_config_middle_emulation_get_default_enabled(
                                              device) == LIBINPUT_CONFIG_MIDDLE_EMULATION_ENABLED);
    libinput_device_config_middle_emulation_set_enabled(device,
                                                        middle ? LIBINPUT_CONFIG_MIDDLE_EMULATION_ENABLED
                                                               : LIBINPUT_CONFIG_MIDDLE_EMULATION_DISABLED);
}

} // namespace keysong
