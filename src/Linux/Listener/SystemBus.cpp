#include "Linux/Listener/SystemBus.h"

#include <utility>

namespace keysong::listener {

SystemBus::SystemBus(EpollRunLoop& loop, std::string address)
    : loop_(loop), address_(std::move(address)), retry_(loop, [this] { connect(); }) {
    retry_.arm(std::chrono::nanoseconds(0));
}

void SystemBus::connect() {
    lost_.reset();
    connection_ = BusConnection::open(loop_, address_, [this] { lost(); });
    if (connection_ == nullptr) {
        retry_.arm(std::chrono::seconds(1));
    } else if (onChange) {
        onChange();
    }
}

void SystemBus::lost() {
    lost_ = std::move(connection_); // it is the one that calls
    if (onChange) {
        onChange();
    }
    retry_.arm(std::chrono::seconds(1));
}

} // namespace keysong::listener
