#pragma once

#include "support/PrivateBus.h"

#include <string>
#include <string_view>
#include <vector>

namespace keysong::test {

/// Sees and works other programs' controls as an assistive program does, over the accessibility bus of the
/// session. What is asked of a control that has gone is answered with nothing: poll.
class AccessibleClient {
  public:
    /// One control, as it is addressed on the bus.
    struct Node {
        std::string program;
        std::string path;

        [[nodiscard]] explicit operator bool() const { return !path.empty(); }
        friend bool operator==(const Node&, const Node&) = default;
    };
    struct Area {
        int x = 0, y = 0, width = 0, height = 0;

        [[nodiscard]] int middle() const { return x + width / 2; }
        [[nodiscard]] int centre() const { return y + height / 2; }
    };
    /// What the bus calls a state, as a bit of the first word.
    enum class State { checked = 4, enabled = 8, selected = 23, showing = 25, visible = 30 };

    /// Starts the accessibility bus where it does not run yet. Throws std::runtime_error without one.
    AccessibleClient();
    /// Where the accessibility bus of the session is; throws std::runtime_error when there is none.
    [[nodiscard]] static std::string addressOfBus();

    /// Every program on the bus.
    [[nodiscard]] Node desktop() const;
    [[nodiscard]] std::vector<Node> children(const Node& node) const;
    /// The first control, below `within`, that shows, has the role ("check box") and is named so: by itself
    /// or by a label. Where `description` is not empty, that has to fit, too. An empty node where there is
    /// none.
    [[nodiscard]] Node find(const Node& within, std::string_view role, std::string_view name,
                            std::string_view description = {}) const;

    [[nodiscard]] std::string name(const Node& node) const;
    [[nodiscard]] std::string description(const Node& node) const;
    [[nodiscard]] std::string role(const Node& node) const;
    [[nodiscard]] bool is(const Node& node, State state) const;
    /// Where it lies on the screen.
    [[nodiscard]] Area area(const Node& node) const;
    /// The whole text of an editable field.
    [[nodiscard]] std::string text(const Node& node) const;

    /// Does what the control calls by this name; false where it knows no such action.
    [[nodiscard]] bool act(const Node& node, std::string_view action) const;

    [[nodiscard]] double value(const Node& node) const { return number(node, "CurrentValue"); }
    [[nodiscard]] double lowest(const Node& node) const { return number(node, "MinimumValue"); }
    [[nodiscard]] double highest(const Node& node) const { return number(node, "MaximumValue"); }
    void setValue(const Node& node, double value) const;

  private:
    struct UnrefMessage {
        void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    };
    using Answer = std::unique_ptr<sd_bus_message, UnrefMessage>;

    /// Null when there is no answer or an error. `types` and the values are what sd-bus takes.
    template <typename... Values>
    [[nodiscard]] Answer call(const Node& node, const char* interface, const char* member, const char* types,
                              Values... values) const;
    [[nodiscard]] std::string property(const Node& node, const char* name) const;
    [[nodiscard]] double number(const Node& node, const char* property) const;
    [[nodiscard]] bool isNamed(const Node& node, std::string_view name) const;
    [[nodiscard]] std::vector<Node> labels(const Node& node) const;

    PrivateBus::Client bus_;
};

} // namespace keysong::test
