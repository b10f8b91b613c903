#include "Linux/System/BriefBus.h"

#include <algorithm>

namespace keysong {

namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

/// How often a wait looks whether it is cancelled.
constexpr microseconds longestStep{50'000};

int keepAnswer(sd_bus_message* message, void* place, sd_bus_error*) {
    static_cast<BusMessage*>(place)->reset(sd_bus_message_ref(message));
    return 1;
}

} // namespace

BriefBus::BriefBus(Kind kind, std::chrono::milliseconds limit, const std::atomic<bool>* cancelled)
    : deadline_(steady_clock::now() + limit), cancelled_(cancelled) {
    sd_bus* made = nullptr;
    if ((kind == Kind::system ? sd_bus_open_system(&made) : sd_bus_open_user(&made)) < 0) {
        return;
    }
    bus_.reset(made);
    serveUntil([this] { return isReady(); });
}

bool BriefBus::isReady() const {
    return bus_ != nullptr && sd_bus_is_ready(bus_.get()) > 0;
}

BusMessage BriefBus::makeCall(const char* destination, const char* path, const char* interface,
                              const char* member) const {
    sd_bus_message* message = nullptr;
    if (isReady()) {
        sd_bus_message_new_method_call(bus_.get(), &message, destination, path, interface, member);
    }
    return BusMessage(message);
}

BusMessage BriefBus::ask(BusMessage call) {
    BusMessage answer;
    sd_bus_slot* slot = nullptr;
    if (call == nullptr || sd_bus_call_async(bus_.get(), &slot, call.get(), keepAnswer, &answer, 0) < 0 ||
        !serveUntil([&] { return answer != nullptr; })) {
        failure_ = "no answer";
        answer.reset();
    } else if (const sd_bus_error* error = sd_bus_message_get_error(answer.get())) {
        failure_ = error->message != nullptr ? error->message : error->name;
        answer.reset();
    }
    sd_bus_slot_unref(slot);
    return answer;
}

template <typename Condition>
bool BriefBus::serveUntil(const Condition& done) {
    while (!done()) {
        const int progress = sd_bus_process(bus_.get(), nullptr);
        const auto left = std::chrono::duration_cast<microseconds>(deadline_ - steady_clock::now());
        if (progress < 0 || left <= microseconds(0) || (cancelled_ != nullptr && *cancelled_)) {
            return false;
        }
        if (progress == 0) {
            sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(std::min(left, longestStep).count()));
        }
    }
    return true;
}

} // namespace keysong
