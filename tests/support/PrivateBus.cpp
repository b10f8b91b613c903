#include "support/PrivateBus.h"

#include "support/Eventually.h"

namespace keysong::test {

bool PrivateBus::start() {
    daemon_.start({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=" + address_},
                  {{{"HOME", folder_.path()}, {"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}}});
    return eventually([] { return connect() != nullptr; });
}

void PrivateBus::kill() {
    daemon_.kill();
    std::error_code ignored;
    std::filesystem::remove(folder_.path() / "bus", ignored);
}

PrivateBus::Client PrivateBus::connect(const std::string& address) {
    sd_bus* bus = nullptr;
    if (address.empty()) {
        sd_bus_open_user(&bus);
    } else if (sd_bus_new(&bus) < 0 || sd_bus_set_address(bus, address.c_str()) < 0 ||
               sd_bus_set_bus_client(bus, 1) < 0 || sd_bus_start(bus) < 0) {
        bus = sd_bus_unref(bus);
    }
    const char* name = nullptr;
    // Only now the connection is made.
    if (bus != nullptr && sd_bus_get_unique_name(bus, &name) < 0) {
        bus = sd_bus_unref(bus);
    }
    return Client(bus);
}

} // namespace keysong::test
