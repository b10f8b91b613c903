#include "Linux/Input/KeyboardNodes.h"

#include <gtest/gtest.h>

namespace keysong {
namespace {

TEST(KeyboardNodes, WhoMayReadAllKeyboardsMayListen) {
    constexpr HardwareNode keyboard{true, true};
    constexpr HardwareNode lockedKeyboard{true, false};
    constexpr HardwareNode mouse{false, true};
    constexpr HardwareNode lockedMouse{false, false};
    struct Row {
        const char* what;
        std::vector<HardwareNode> nodes;
        bool may;
    };
    const Row rows[] = {
        {"two keyboards", {keyboard, keyboard, mouse}, true},
        {"one of two keyboards", {keyboard, lockedKeyboard, mouse}, false},
        {"the keyboard and not the mouse", {keyboard, lockedMouse}, true},
        {"the mouse and not the keyboard", {lockedKeyboard, mouse}, false},
        {"nothing", {lockedKeyboard, lockedMouse}, false},
        {"no keyboard, and the right to others", {lockedMouse, mouse}, true},
        {"no keyboard, and no right", {lockedMouse}, false},
        {"no device", {}, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(mayListenTo(row.nodes), row.may) << row.what;
    }
}

} // namespace
} // namespace keysong
