#include "Linux/Listener/PolkitAuthority.h"

#include "Shared/Log.h"

#include <systemd/sd-bus.h>

#include <string>
#include <string_view>
#include <utility>

namespace keysong::listener {

namespace {

/// A person may take as long as they like.
constexpr std::chrono::hours longestThought{24};

class PolkitQuestion final : public Question {
  public:
    PolkitQuestion(SystemBus& bus, std::string name, Authority::Handler handler)
        : bus_(bus), name_(std::move(name)), handler_(std::move(handler)) {}
    ~PolkitQuestion() override {
        BusConnection* const bus = bus_.get();
        if (slot_ == nullptr || bus == nullptr) {
            return;
        }
        slot_.reset();
        BusMessage call = makeCall(*bus, "CancelCheckAuthorization");
        if (call != nullptr) {
            sd_bus_message_append(call.get(), "s", name_.c_str());
        }
        bus->sendOnly(std::move(call));
    }
    PolkitQuestion(const PolkitQuestion&) = delete;
    PolkitQuestion& operator=(const PolkitQuestion&) = delete;

    /// False when there is nobody to ask.
    [[nodiscard]] bool send(const Peer& peer) {
        BusConnection* const bus = bus_.get();
        BusMessage call = bus != nullptr ? makeCall(*bus, "CheckAuthorization") : nullptr;
        if (call == nullptr) {
            return false;
        }
        constexpr std::uint32_t mayAskThePerson = 1;
        sd_bus_message_set_auto_start(call.get(), 1);
        sd_bus_message_append(call.get(), "(sa{sv})sa{ss}us", "unix-process", 3, "pid", "u", peer.process.id,
                              "start-time", "t", peer.startTime, "uid", "i",
                              static_cast<std::int32_t>(peer.process.user), PolkitAuthority::action, 0,
                              mayAskThePerson, name_.c_str());
        slot_ = bus->send(std::move(call), BusHandler<&PolkitQuestion::answered>::call, this, longestThought);
        return slot_ != nullptr;
    }

  private:
    static BusMessage makeCall(const BusConnection& bus, const char* member) {
        return bus.makeCall("org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                            "org.freedesktop.PolicyKit1.Authority", member);
    }

    void answered(sd_bus_message* answer) {
        slot_.reset(); // it is over: nothing to withdraw
        const auto handler = std::exchange(handler_, nullptr);
        handler(outcomeOf(answer)); // this object may be gone now
    }

    static Answer::Outcome outcomeOf(sd_bus_message* answer) {
        if (const sd_bus_error* error = sd_bus_message_get_error(answer)) {
            log.error("polkit cannot be asked: %{public}s",
                      std::string_view(error->message != nullptr ? error->message : error->name));
            return Answer::Outcome::failed;
        }
        int isAuthorized = 0;
        int isChallenge = 0;
        if (sd_bus_message_enter_container(answer, 'r', "bba{ss}") <= 0 ||
            sd_bus_message_read(answer, "bb", &isAuthorized, &isChallenge) <= 0) {
            return Answer::Outcome::failed;
        }
        if (isAuthorized != 0) {
            return Answer::Outcome::granted;
        }
        if (isChallenge != 0) {
            return Answer::Outcome::cannotAsk; // the session has nothing that asks for passwords
        }
        return wasDismissed(answer) ? Answer::Outcome::dismissed : Answer::Outcome::notAuthorized;
    }

    static bool wasDismissed(sd_bus_message* answer) {
        if (sd_bus_message_enter_container(answer, 'a', "{ss}") <= 0) {
            return false;
        }
        const char* key = nullptr;
        const char* value = nullptr;
        while (sd_bus_message_read(answer, "{ss}", &key, &value) > 0) {
            if (std::string_view(key) == "polkit.dismissed") {
                return true;
            }
        }
        return false;
    }

    SystemBus& bus_;
    const std::string name_;
    Authority::Handler handler_;
    BusSlot slot_;
};

} // namespace

std::unique_ptr<Question> PolkitAuthority::ask(const Peer& peer, Handler handler) {
    auto question =
        std::make_unique<PolkitQuestion>(bus_, "listen-" + std::to_string(++asked_), std::move(handler));
    return question->send(peer) ? std::move(question) : nullptr;
}

} // namespace keysong::listener
