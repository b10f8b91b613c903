#include "support/AccessibleClient.h"

#include <cmath>
#include <stdexcept>

namespace keysong::test {

namespace {

constexpr const char* accessible = "org.a11y.atspi.Accessible";
constexpr const char* actions = "org.a11y.atspi.Action";
constexpr const char* values = "org.a11y.atspi.Value";
constexpr const char* properties = "org.freedesktop.DBus.Properties";
/// The number of the relation to a control's label.
constexpr std::uint32_t labelledBy = 2;

std::vector<AccessibleClient::Node> readNodes(sd_bus_message* message) {
    std::vector<AccessibleClient::Node> result;
    const char* program = nullptr;
    const char* path = nullptr;
    if (sd_bus_message_enter_container(message, 'a', "(so)") > 0) {
        while (sd_bus_message_read(message, "(so)", &program, &path) > 0) {
            result.push_back({program, path});
        }
        sd_bus_message_exit_container(message);
    }
    return result;
}

} // namespace

std::string AccessibleClient::addressOfBus() {
    const auto session = PrivateBus::connect();
    sd_bus_message* reply = nullptr;
    const char* address = "";
    if (session == nullptr ||
        sd_bus_call_method(session.get(), "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress",
                           nullptr, &reply, "") < 0 ||
        sd_bus_message_read(reply, "s", &address) < 0) {
        sd_bus_message_unref(reply);
        throw std::runtime_error("no accessibility bus");
    }
    std::string result(address);
    sd_bus_message_unref(reply);
    return result;
}

AccessibleClient::AccessibleClient() : bus_(PrivateBus::connect(addressOfBus())) {
    if (bus_ == nullptr) {
        throw std::runtime_error("the accessibility bus does not answer");
    }
}

template <typename... Values>
AccessibleClient::Answer AccessibleClient::call(const Node& node, const char* interface, const char* member,
                                                const char* types, Values... arguments) const {
    sd_bus_message* reply = nullptr;
    sd_bus_call_method(bus_.get(), node.program.c_str(), node.path.c_str(), interface, member, nullptr,
                       &reply, types, arguments...);
    return Answer(reply);
}

AccessibleClient::Node AccessibleClient::desktop() const {
    return {"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"};
}

std::vector<AccessibleClient::Node> AccessibleClient::children(const Node& node) const {
    const Answer answer = call(node, accessible, "GetChildren", "");
    return answer != nullptr ? readNodes(answer.get()) : std::vector<Node>();
}

AccessibleClient::Node AccessibleClient::find(const Node& within, std::string_view role,
                                              std::string_view name, std::string_view description) const {
    for (const Node& child : children(within)) {
        if (this->role(child) == role && is(child, State::showing) && isNamed(child, name) &&
            (description.empty() || this->description(child) == description)) {
            return child;
        }
        if (const Node below = find(child, role, name, description)) {
            return below;
        }
    }
    return {};
}

bool AccessibleClient::isNamed(const Node& node, std::string_view name) const {
    if (this->name(node) == name) {
        return true;
    }
    for (const Node& label : labels(node)) {
        if (this->name(label) == name) {
            return true;
        }
    }
    return false;
}

std::vector<AccessibleClient::Node> AccessibleClient::labels(const Node& node) const {
    const Answer answer = call(node, accessible, "GetRelationSet", "");
    std::vector<Node> result;
    if (answer == nullptr || sd_bus_message_enter_container(answer.get(), 'a', "(ua(so))") <= 0) {
        return result;
    }
    while (sd_bus_message_enter_container(answer.get(), 'r', "ua(so)") > 0) {
        std::uint32_t relation = 0;
        sd_bus_message_read(answer.get(), "u", &relation);
        const auto others = readNodes(answer.get());
        if (relation == labelledBy) {
            result.insert(result.end(), others.begin(), others.end());
        }
        sd_bus_message_exit_container(answer.get());
    }
    return result;
}

std::string AccessibleClient::property(const Node& node, const char* name) const {
    const Answer answer = call(node, properties, "Get", "ss", accessible, name);
    const char* text = "";
    return answer != nullptr && sd_bus_message_read(answer.get(), "v", "s", &text) >= 0 ? text : "";
}

std::string AccessibleClient::name(const Node& node) const {
    return property(node, "Name");
}

std::string AccessibleClient::description(const Node& node) const {
    return property(node, "Description");
}

std::string AccessibleClient::role(const Node& node) const {
    const Answer answer = call(node, accessible, "GetRoleName", "");
    const char* text = "";
    return answer != nullptr && sd_bus_message_read(answer.get(), "s", &text) >= 0 ? text : "";
}

bool AccessibleClient::is(const Node& node, State state) const {
    const Answer answer = call(node, accessible, "GetState", "");
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    return answer != nullptr && sd_bus_message_read(answer.get(), "au", 2, &low, &high) >= 0 &&
           ((low >> static_cast<unsigned>(state)) & 1U) != 0;
}

AccessibleClient::Area AccessibleClient::area(const Node& node) const {
    constexpr std::uint32_t onScreen = 0;
    const Answer answer = call(node, "org.a11y.atspi.Component", "GetExtents", "u", onScreen);
    Area area;
    if (answer != nullptr) {
        sd_bus_message_read(answer.get(), "(iiii)", &area.x, &area.y, &area.width, &area.height);
    }
    return area;
}

std::string AccessibleClient::text(const Node& node) const {
    const Answer answer = call(node, "org.a11y.atspi.Text", "GetText", "ii", 0, -1);
    const char* text = "";
    return answer != nullptr && sd_bus_message_read(answer.get(), "s", &text) >= 0 ? text : "";
}

bool AccessibleClient::act(const Node& node, std::string_view action) const {
    const Answer list = call(node, actions, "GetActions", "");
    if (list == nullptr || sd_bus_message_enter_container(list.get(), 'a', "(sss)") <= 0) {
        return false;
    }
    const char* name = nullptr;
    const char* ignored = nullptr;
    for (int index = 0; sd_bus_message_read(list.get(), "(sss)", &name, &ignored, &ignored) > 0; ++index) {
        if (action == name) {
            return call(node, actions, "DoAction", "i", index) != nullptr;
        }
    }
    return false;
}

double AccessibleClient::number(const Node& node, const char* property) const {
    const Answer answer = call(node, properties, "Get", "ss", values, property);
    double number = std::nan("");
    if (answer != nullptr) {
        sd_bus_message_read(answer.get(), "v", "d", &number);
    }
    return number;
}

void AccessibleClient::setValue(const Node& node, double value) const {
    static_cast<void>(call(node, properties, "Set", "ssv", values, "CurrentValue", "d", value));
}

} // namespace keysong::test
