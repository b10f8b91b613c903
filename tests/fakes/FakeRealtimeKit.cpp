#include "fakes/FakeRealtimeKit.h"

#include <cstddef>
#include <stdexcept>

namespace keysong::test {

FakeRealtimeKit::FakeRealtimeKit(const char* name, const char* path, const char* interface)
    : bus_(PrivateBus::connect()) {
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_PROPERTY("RTTimeUSecMax", "x", nullptr, offsetof(Limits, longestMicroseconds), 0),
        SD_BUS_PROPERTY("MaxRealtimePriority", "i", nullptr, offsetof(Limits, highestPriority), 0),
        SD_BUS_PROPERTY("MinNiceLevel", "i", nullptr, offsetof(Limits, lowestNiceLevel), 0),
        SD_BUS_METHOD("MakeThreadRealtimeWithPID", "ttu", "", &FakeRealtimeKit::onRealtime,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("MakeThreadHighPriorityWithPID", "tti", "", &FakeRealtimeKit::onNice,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END};
    if (bus_ == nullptr ||
        sd_bus_add_object_vtable(bus_.get(), nullptr, path, interface, table, &limits) < 0 ||
        sd_bus_request_name(bus_.get(), name, 0) < 0) {
        throw std::runtime_error("RealtimeKit's bus failed");
    }
}

FakeRealtimeKit::~FakeRealtimeKit() {
    ending_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
}

void FakeRealtimeKit::serve() {
    thread_ = std::thread([this] {
        while (!ending_) {
            if (sd_bus_process(bus_.get(), nullptr) == 0) {
                sd_bus_wait(bus_.get(), 5000);
            }
        }
    });
}

int FakeRealtimeKit::answer(sd_bus_message* message, char type, bool grants) {
    Request& request = requests.emplace_back(Request{sd_bus_message_get_member(message), 0, 0, 0});
    sd_bus_message_read(message, "tt", &request.process, &request.thread);
    sd_bus_message_read_basic(message, type, &request.value);
    getrlimit(RLIMIT_RTTIME, &limitThen);
    return grants ? sd_bus_reply_method_return(message, "")
                  : sd_bus_reply_method_errorf(message, SD_BUS_ERROR_ACCESS_DENIED, "not you");
}

int FakeRealtimeKit::onRealtime(sd_bus_message* message, void* limits, sd_bus_error*) {
    FakeRealtimeKit& kit = *static_cast<Limits*>(limits)->owner;
    return kit.answer(message, 'u', kit.grantsRealtime);
}

int FakeRealtimeKit::onNice(sd_bus_message* message, void* limits, sd_bus_error*) {
    FakeRealtimeKit& kit = *static_cast<Limits*>(limits)->owner;
    return kit.answer(message, 'i', kit.grantsNice);
}

} // namespace keysong::test
