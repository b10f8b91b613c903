#include "Linux/System/BusConnection.h"

namespace keysong {

namespace {

/// Steps in a row, so that a flood of messages leaves the run loop time for the rest.
constexpr int mostSteps = 64;

} // namespace

std::unique_ptr<BusConnection> BusConnection::open(EpollRunLoop& loop, const std::string& address,
                                                   std::function<void()> lost) {
    sd_bus* made = nullptr;
    if (address.empty()) {
        sd_bus_open_user(&made);
    } else if (sd_bus_new(&made) >= 0 && (sd_bus_set_address(made, address.c_str()) < 0 ||
                                          sd_bus_set_bus_client(made, 1) < 0 || sd_bus_start(made) < 0)) {
        made = sd_bus_unref(made);
    }
    BusRef bus(made);
    sd_event* madeEvent = nullptr;
    sd_event_new(&madeEvent);
    EventRef event(madeEvent);
    if (bus == nullptr || event == nullptr ||
        sd_bus_attach_event(made, madeEvent, SD_EVENT_PRIORITY_NORMAL) < 0) {
        return nullptr;
    }
    std::unique_ptr<BusConnection> connection(
        new BusConnection(loop, std::move(event), std::move(bus), std::move(lost)));
    return connection->watched_ ? std::move(connection) : nullptr;
}

BusConnection::BusConnection(EpollRunLoop& loop, EventRef event, BusRef bus, std::function<void()> lost)
    : loop_(loop), lost_(std::move(lost)), event_(std::move(event)), bus_(std::move(bus)),
      waking_(loop, [this] { serve(); }),
      watched_(loop.watch(sd_event_get_fd(event_.get()), [this] { serve(); })) {
    wake();
}

BusConnection::~BusConnection() {
    if (watched_) {
        loop_.unwatch(sd_event_get_fd(event_.get()));
    }
    sd_bus_detach_event(bus_.get());
}

void BusConnection::serve() {
    if (!watched_) {
        return;
    }
    serving_ = true;
    int result = 1;
    for (int i = 0; i < mostSteps && result > 0; ++i) {
        result = sd_event_run(event_.get(), 0);
    }
    serving_ = false;
    if (result < 0 || sd_bus_is_open(bus_.get()) <= 0) {
        loop_.unwatch(sd_event_get_fd(event_.get()));
        watched_ = false;
        lost_();
    } else if (result > 0) {
        wake();
    }
}

void BusConnection::wake() {
    if (!serving_) {
        waking_.arm(std::chrono::nanoseconds(0));
    }
}

BusMessage BusConnection::makeCall(const char* destination, const char* path, const char* interface,
                                   const char* member) const {
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(bus_.get(), &message, destination, path, interface, member) >= 0) {
        sd_bus_message_set_auto_start(message, 0);
    }
    return BusMessage(message);
}

BusSlot BusConnection::send(BusMessage call, sd_bus_message_handler_t handler, void* data,
                            std::chrono::microseconds limit) {
    sd_bus_slot* slot = nullptr;
    if (call != nullptr) {
        sd_bus_call_async(bus_.get(), &slot, call.get(), handler, data,
                          static_cast<std::uint64_t>(limit.count()));
        wake();
    }
    return BusSlot(slot);
}

void BusConnection::sendOnly(BusMessage call) {
    if (call != nullptr) {
        sd_bus_message_set_expect_reply(call.get(), 0);
        sd_bus_send(bus_.get(), call.get(), nullptr);
    }
}

BusSlot BusConnection::match(const std::string& rule, sd_bus_message_handler_t handler, void* data) {
    sd_bus_slot* slot = nullptr;
    // The answer to this is not waited for; a bus that refuses a match is not to be had at all.
    sd_bus_add_match_async(bus_.get(), &slot, rule.c_str(), handler, nullptr, data);
    wake();
    return BusSlot(slot);
}

BusSlot BusConnection::askBus(const char* member, const char* name, sd_bus_message_handler_t handler,
                              void* data) {
    BusMessage call =
        makeCall("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", member);
    if (call != nullptr) {
        sd_bus_message_append(call.get(), "s", name);
    }
    return send(std::move(call), handler, data);
}

} // namespace keysong
