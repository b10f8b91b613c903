#include "Linux/System/RealtimeKit.h"

#include "Linux/System/BriefBus.h"
#include "Linux/System/RealtimeLimit.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

namespace keysong {

namespace {

/// Enough to be before ordinary programs; more would only be refused more often.
constexpr std::int32_t wantedNiceLevel = -11;

/// Who grants priorities. The portal's interface has the same members.
struct Granter {
    const char* name;
    BriefBus::Kind bus;
    const char* destination;
    const char* path;
    const char* interface;
};
constexpr std::array granters = {
    Granter{"RealtimeKit", BriefBus::Kind::system, "org.freedesktop.RealtimeKit1",
            "/org/freedesktop/RealtimeKit1", "org.freedesktop.RealtimeKit1"},
    Granter{"the portal", BriefBus::Kind::session, "org.freedesktop.portal.Desktop",
            "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Realtime"}};

/// Asks one of them.
class Asker {
  public:
    Asker(const Granter& granter, const RealtimeRequest& request, std::chrono::milliseconds limit,
          const std::atomic<bool>& cancelled)
        : granter_(granter), request_(request), bus_(granter.bus, limit, &cancelled) {}

    /// What was granted; nothing when nothing was: `refusal` then tells why.
    std::optional<std::string> ask() {
        if (!bus_.isReady()) {
            return refuse("no bus");
        }
        const auto longest = property<std::int64_t>("RTTimeUSecMax", 'x');
        const auto highest = property<std::int32_t>("MaxRealtimePriority", 'i');
        if (longest && highest && *highest > 0 && limitRealtime(std::chrono::microseconds(*longest))) {
            const int priority = std::min(request_.priority, *highest);
            if (call("MakeThreadRealtimeWithPID", 'u', priority)) {
                return "real-time priority " + std::to_string(priority) + " from " + granter_.name;
            }
        }
        const std::string whyNot = bus_.failure();
        if (const auto lowest = property<std::int32_t>("MinNiceLevel", 'i'); lowest && *lowest < 0) {
            const std::int32_t level = std::max(wantedNiceLevel, *lowest);
            if (call("MakeThreadHighPriorityWithPID", 'i', level)) {
                return "nice level " + std::to_string(level) + " from " + granter_.name + " (" + whyNot + ")";
            }
        }
        return refuse(whyNot);
    }

    [[nodiscard]] const std::string& refusal() const noexcept { return refusal_; }

  private:
    std::nullopt_t refuse(const std::string& reason) {
        refusal_ = std::string(granter_.name) + ": " + reason;
        return std::nullopt;
    }

    template <typename Number>
    std::optional<Number> property(const char* name, char type) {
        BusMessage question =
            bus_.makeCall(granter_.destination, granter_.path, "org.freedesktop.DBus.Properties", "Get");
        if (question == nullptr ||
            sd_bus_message_append(question.get(), "ss", granter_.interface, name) < 0) {
            return std::nullopt;
        }
        const BusMessage answer = bus_.ask(std::move(question));
        const std::array<char, 2> contents{type, '\0'};
        Number value = 0;
        if (answer == nullptr || sd_bus_message_enter_container(answer.get(), 'v', contents.data()) <= 0 ||
            sd_bus_message_read_basic(answer.get(), type, &value) <= 0) {
            return std::nullopt;
        }
        return value;
    }

    bool call(const char* member, char type, std::int32_t value) {
        BusMessage message = bus_.makeCall(granter_.destination, granter_.path, granter_.interface, member);
        if (message == nullptr ||
            sd_bus_message_append(message.get(), "tt", static_cast<std::uint64_t>(getpid()),
                                  static_cast<std::uint64_t>(request_.thread)) < 0 ||
            sd_bus_message_append_basic(message.get(), type, &value) < 0) {
            return false;
        }
        return bus_.ask(std::move(message)) != nullptr;
    }

    const Granter& granter_;
    const RealtimeRequest& request_;
    BriefBus bus_;
    std::string refusal_;
};

} // namespace

std::string askForRealtime(const RealtimeRequest& request, std::chrono::milliseconds limit,
                           const std::atomic<bool>& cancelled) {
    std::string refusals;
    for (const Granter& granter : granters) {
        Asker asker(granter, request, limit, cancelled);
        if (const auto granted = asker.ask()) {
            return *granted;
        }
        refusals += (refusals.empty() ? "" : ", ") + asker.refusal();
    }
    return "no real-time priority (" + refusals + ")";
}

} // namespace keysong
