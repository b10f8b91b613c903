#include "Linux/System/SessionBusProbe.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <memory>

namespace keysong {

namespace {

struct CloseBus {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};

} // namespace

bool sessionBusAnswers(std::chrono::milliseconds limit) {
    using std::chrono::microseconds;
    using std::chrono::steady_clock;
    const auto deadline = steady_clock::now() + limit;
    sd_bus* made = nullptr;
    if (sd_bus_open_user(&made) < 0) {
        return false;
    }
    const std::unique_ptr<sd_bus, CloseBus> bus(made);
    while (sd_bus_is_ready(bus.get()) == 0) {
        const int progress = sd_bus_process(bus.get(), nullptr);
        const auto left = std::chrono::duration_cast<microseconds>(deadline - steady_clock::now());
        if (progress < 0 || left <= microseconds(0)) {
            return false;
        }
        if (progress == 0) {
            sd_bus_wait(bus.get(), static_cast<std::uint64_t>(left.count()));
        }
    }
    return sd_bus_is_ready(bus.get()) > 0;
}

} // namespace keysong
